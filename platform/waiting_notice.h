#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace platform {

class ResourceManager;

// How an operator is told that a begin of a transaction waits for another user of the token.
struct WaitingNotice {
    std::chrono::milliseconds patience;
    // Called once, on another thread, when a begin has waited this long. `holder` is the number of
    // the process that holds the token, 0 where the manager does not know.
    std::function<void(std::int32_t holder)> waits;
    // Called once behind it, when that begin ends.
    std::function<void(bool succeeded)> ends;
};

// Sets the notice for the begins of the calling thread; null for none, as at first. It is not
// copied.
void setWaitingNotice(const WaitingNotice* notice);

// The manager's begin, with the calling thread's notice.
std::uint32_t beginWithNotice(ResourceManager& manager, std::uint32_t card, std::string& why);

// Sets who is told of each wait of the software token for another process, once it has lasted 3 s,
// on the thread that waits: in words for an operator. Null for nobody, as at first. No wait may be
// under way. It must not throw.
void setLongWaitNotice(std::function<void(const std::string& text)> notice);

// Has those waits told by one line on standard error. Not told are a begin that the thread's own
// notice tells, and SilentCalls.
void tellLongWaits();

// While one of these lives, calls of its thread that fail or wait write no line for the operator.
// The innermost one is told why they failed.
class SilentCalls {
  public:
    SilentCalls();
    SilentCalls(const SilentCalls&) = delete;
    SilentCalls& operator=(const SilentCalls&) = delete;
    ~SilentCalls();

    // Why the last such call failed, in words; empty if none did.
    const std::string& reason() const { return reason_; }

    static bool areOn();
    // Takes the reason, if they are on.
    static void tell(const std::string& why);

  private:
    SilentCalls* outer_;
    std::string reason_;
};

}  // namespace platform
