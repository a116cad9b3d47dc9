#pragma once

#include <memory>
#include <string>

#include "apdulib/rm_apdutalker.h"
#include "include/ksigil.h"
#include "include/result_numbers.h"
#include "libksigil/arguments.h"
#include "libksigil/metered_talker.h"
#include "libksigil/reason.h"
#include "platform/waiting_notice.h"

namespace ksigil {

// One call of the library on a token: from the handle to the result, under the card lock.
class Operation {
  public:
    Operation(ksigil_token* handle, const Transfer& transfer);
    ~Operation();

    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

    // Takes the card lock.
    u32 begin();
    // Gives the lock back behind a work that gave `rv`; what failed on a lost connection has lost
    // that too. Gives the result of all, and keeps the reason.
    u32 end(u32 rv);

    MeteredTalker& metered() { return metered_; }

    // What ksigil_lock, ksigil_unlock and ksigil_thread_done do, in place of `begin` and `end`.
    // Each gives the call's result and keeps the reason.
    u32 keepLock();
    u32 giveLockBack();
    u32 disconnect();

  private:
    void dropIfLost(u32 rv);
    void drop();

    const platform::SilentCalls silence_;
    std::shared_ptr<RMApduTalker> talker_;
    MeteredTalker metered_;
    bool isLocked_ = false;
};

// The result for the exception that is being handled; keeps its reason.
u32 withException() noexcept;

// Runs a call that needs no token. Nothing leaves it but a result.
template <typename Call>
u32 guarded(const Call& call) noexcept {
    try {
        return call();
    } catch (...) {
        return withException();
    }
}

// Runs `work`, which takes the talker and gives a result, under the card lock.
template <typename Work>
u32 onToken(ksigil_token* handle, const Transfer& transfer, const Work& work) noexcept {
    return guarded([&] {
        Operation operation(handle, transfer);
        u32 rv = operation.begin();
        if (rv == result::success) {
            rv = work(operation.metered());
        }
        return operation.end(rv);
    });
}

template <typename Work>
u32 onToken(ksigil_token* handle, const Work& work) noexcept {
    return onToken(handle, Transfer{}, work);
}

// The same at a path, of which `work` has a copy.
template <typename Work>
u32 onPath(ksigil_token* handle, const char* path, const Transfer& transfer,
           const Work& work) noexcept {
    const u32 bad = checkPath(path);
    return bad != KSIGIL_OK ? bad : onToken(handle, transfer, [&](MeteredTalker& talker) {
        return work(talker, std::string(path));
    });
}

}  // namespace ksigil
