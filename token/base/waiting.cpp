#include "token/base/waiting.h"

#include <poll.h>

#include <utility>

namespace token {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds patience{3000};
constexpr milliseconds shortWait{100};  // up to here the looks are many

WaitNotice& noticeInUse() {
    static WaitNotice notice;
    return notice;
}

constexpr int none = -1;
thread_local int endOfWaits = none;

// True if the waits of this thread have to end.
bool sleep(milliseconds time) {
    pollfd watched{endOfWaits, POLLIN, 0};  // poll looks past a negative descriptor
    return poll(&watched, 1, static_cast<int>(time.count())) > 0;
}

}  // namespace

void setWaitNotice(WaitNotice notice) {
    noticeInUse() = std::move(notice);
}

std::string wordsOfWait(std::int32_t process, const std::string& does) {
    const std::string who = process > 0 ? "process " + std::to_string(process) : "another process";
    return "waiting for " + who + ", which " + does;
}

bool Wait::goesOn(std::int32_t process) {
    if (!isTold_ && Clock::now() - begin_ >= patience) {
        isTold_ = true;
        if (noticeInUse()) {
            noticeInUse()(process, does_);
        }
    }
    return !sleep(milliseconds{0});
}

bool Wait::pause(std::int32_t process) {
    return goesOn(process) && !sleep(milliseconds{Clock::now() - begin_ < shortWait ? 1 : 5});
}

EndOfWaits::EndOfWaits(int descriptor) : before_(std::exchange(endOfWaits, descriptor)) {}

EndOfWaits::~EndOfWaits() {
    endOfWaits = before_;
}

}  // namespace token
