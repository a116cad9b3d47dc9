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
    using Epoch = token::Epoch;
    enum class Condition { good, reset, removed };

    // Joins the powered token or powers it up. The caller has a ConnectLock. Throws Fault.
    Power(const LockFile& lockFile, const FileIdentity& image);
    Power(const Power&) = delete;
    Power& operator=(const Power&) = delete;

    // Ends selection, login and lease of the token that is powered, for one who doesn't use it:
    // needs no ConnectLock and waits for nobody. False if nobody powers it. Throws Fault.
    static bool reset(const LockFile& lockFile);

    // The two wait for nobody.
    Epoch epoch() { return state().epoch(); }
    Condition condition(const Epoch& epoch);

    // Waits until nobody holds the token, and holds it. Death of the holder, a reset and a removal
    // end the lease. Unless good, nothing is held. Where this process is asked to end meanwhile, it
    // and the two below give `reset`.
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
    void reset() { state().end(state().resets); }
    void removeCard() { state().end(state().removals); }

  private:
    PoweredState& state() { return *static_cast<PoweredState*>(memory_.address()); }
    bool isFree(bool lookForDead);
    // Good, with nothing held, where somebody else holds it.
    Condition tryToHold(const Epoch& epoch, Lease& lease, bool lookForDead);
    void sleep(std::uint32_t changes);

    const LockFile& lockFile_;
    SharedMemory memory_;
    std::int32_t process_;  // kept, for to ask the system costs more than a guard
    std::uint32_t user_;
    std::atomic<std::uint32_t> lastLease_ = 0;
};

}  // namespace token
