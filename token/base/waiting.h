#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace token {

// Told of a wait for another process that has lasted 3 s, once, on the thread that waits: the
// number of that process, 0 where it is not known, and, in words that go behind "process 7, which",
// what it does. It must not throw.
using WaitNotice = std::function<void(std::int32_t process, const std::string& does)>;

// Sets the process's notice; null for none, as at first. No wait may be under way.
void setWaitNotice(WaitNotice notice);

// "waiting for process 7, which DOES".
std::string wordsOfWait(std::int32_t process, const std::string& does);

// One wait, as long as it takes. Its loop looks whether it is over, and pauses.
class Wait {
  public:
    // `does` outlives the wait.
    explicit Wait(const char* does) : does_(does), begin_(Clock::now()) {}

    // Tells, where it is time to. False if this process has been asked to end: then the wait has to
    // end as well, with a failure. Works as a busy handler's: throws nothing.
    bool goesOn(std::int32_t process);
    // The same, behind a sleep: 1 ms at first, later 5 ms.
    bool pause(std::int32_t process);

  private:
    using Clock = std::chrono::steady_clock;

    const char* does_;
    Clock::time_point begin_;
    bool isTold_ = false;
};

// While one of these lives, the waits of its thread end when the descriptor can be read: a program
// that takes its signals from there hears them in every wait.
class EndOfWaits {
  public:
    explicit EndOfWaits(int descriptor);
    EndOfWaits(const EndOfWaits&) = delete;
    EndOfWaits& operator=(const EndOfWaits&) = delete;
    ~EndOfWaits();

  private:
    int before_;
};

}  // namespace token
