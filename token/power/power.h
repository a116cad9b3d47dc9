#pragma once

#include <atomic>
#include <cstdint>

#include "token/base/file.h"
#include "token/power/lock_file.h"
#include "token/power/powered_state.h"
#include "token/power/shared_memory.h"
#include "token/rules/session.h"

namespace token {

// The power of a token, for one user of it: a process, as a rule. The first user powers the token
// up; with the last one, however it ends, it loses power and with it selection, login and holder.
// Any thread may call at any time.
class Power {
  public:
    // The resets and removals up to a connection's last look. While there were no more, the
    // connection may go on.
    struct alignas(8) Epoch {
        std::uint32_t resets;
        std::uint32_t removals;
    };

    enum class Condition { good, reset, removed };

    // Joins the powered token or powers it up. The caller has a ConnectLock. Throws Fault.
    Power(const LockFile& lockFile, const FileIdentity& image);
    Power(const Power&) = delete;
    Power& operator=(const Power&) = delete;

    Epoch epoch();
    Condition condition(const Epoch& epoch);

    // Waits until nobody holds the token, and holds it. Death of the holder, a reset and a removal
    // end the lease. Unless good, nothing is held.
    Condition acquire(const Epoch& epoch, Lease& lease);
    // The process that holds the token, 0 if none does.
    std::int32_t holder();
    bool isHolder(const Lease& lease);
    // Nothing happens if the lease has ended.
    void release(const Lease& lease);

    // Read and replace the session. Unless good, `session` is left alone, or not stored.
    Condition load(const Epoch& epoch, Session& session);
    Condition store(const Epoch& epoch, const Session& session);

    // Both end selection, login and lease, and wait for nobody. Connections of an earlier epoch
    // meet the reset, or the removal, until they look again.
    void reset();
    void removeCard();

  private:
    PoweredState& state() { return *static_cast<PoweredState*>(memory_.address()); }
    Condition compare(const Epoch& epoch);
    bool isFree(bool lookForDead);
    void sleep(std::uint32_t changes);

    const LockFile& lockFile_;
    SharedMemory memory_;
    std::uint32_t user_;
    std::atomic<std::uint32_t> lastLease_ = 0;
};

}  // namespace token
