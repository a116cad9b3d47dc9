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

// Has each wait of the software token for another process told by one line on standard error, once
// it has lasted 3 s. Not told are a begin that the thread's own notice tells, and SilentCalls.
void tellLongWaits();

// While one of these lives, calls of its thread that fail or wait write no line for the operator.
class SilentCalls {
  public:
    SilentCalls();
    SilentCalls(const SilentCalls&) = delete;
    SilentCalls& operator=(const SilentCalls&) = delete;
    ~SilentCalls();

    static bool areOn();

  private:
    bool before_;
};

}  // namespace platform
