#pragma once

#include <atomic>
#include <cstdint>

#include "token/image/image_file.h"
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
    // What a connection has seen of the token's resets and removals. It is good for as long as
    // there were no more.
    struct alignas(8) Sight {
        std::uint32_t resets;
        std::uint32_t removals;
    };

    enum class Condition { good, reset, removed };

    // Joins the powered token or powers it up. The caller is Connecting. Throws Fault.
    Power(const LockFile& lockFile, const FileIdentity& image);
    Power(const Power&) = delete;
    Power& operator=(const Power&) = delete;

    Sight sight();
    Condition condition(const Sight& sight);

    // Waits until nobody holds the token and holds it; `holding` tells this holding from all
    // others. A holder that dies, a reset and a removal end the holding. Unless good, nothing is
    // held.
    Condition take(const Sight& sight, Holding& holding);
    bool isHolder(const Holding& holding);
    // Nothing happens if the holding has ended.
    void letGo(const Holding& holding);

    // What the powered token remembers. Unless good, `session` is left alone, or not stored.
    Condition load(const Sight& sight, Session& session);
    Condition store(const Sight& sight, const Session& session);

    // Both end selection, login and holding, and wait for nobody. The connections of before meet
    // the reset, or the removal, until they look again.
    void reset();
    void removeCard();

  private:
    PoweredState& state() { return *static_cast<PoweredState*>(memory_.address()); }
    Condition compare(const Sight& sight);
    bool isFree(bool lookForDead);
    void sleep(std::uint32_t changes);

    const LockFile& lockFile_;
    SharedMemory memory_;
    std::uint32_t user_;
    std::atomic<std::uint32_t> lastHolding_ = 0;
};

}  // namespace token
