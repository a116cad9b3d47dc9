#include "platform/waiting_notice.h"

#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

#include "platform/process.h"
#include "platform/quiet_thread.h"
#include "platform/resource_manager.h"

namespace platform {
namespace {

thread_local const WaitingNotice* noticeOfThread = nullptr;
thread_local SilentCalls* silent = nullptr;
thread_local bool isWatched = false;  // the thread's begin

// Looks on from another thread while a begin waits. The begin itself cannot be cut short. Where no
// thread can be had, nobody is told of the wait.
class Watch {
  public:
    Watch(const WaitingNotice& notice, ResourceManager& manager, std::uint32_t card)
        : notice_(notice), manager_(manager), card_(card) {
        thread_ = startQuietThread([this] { look(); });
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() = default;

    void end(bool succeeded) {
        {
            const std::lock_guard guard(mutex_);
            hasEnded_ = true;
        }
        ended_.notify_one();
        if (thread_.joinable()) {
            thread_.join();
        }
        if (isTold_) {
            notice_.ends(succeeded);
        }
    }

  private:
    void look() {
        std::unique_lock guard(mutex_);
        if (!ended_.wait_for(guard, notice_.patience, [this] { return hasEnded_; })) {
            isTold_ = true;
            notice_.waits(manager_.holder(card_));
        }
    }

    const WaitingNotice& notice_;
    ResourceManager& manager_;
    std::uint32_t card_;
    std::mutex mutex_;
    std::condition_variable ended_;
    bool hasEnded_ = false;
    bool isTold_ = false;
    std::thread thread_;
};

}  // namespace

void setWaitingNotice(const WaitingNotice* notice) {
    noticeOfThread = notice;
}

std::uint32_t beginWithNotice(ResourceManager& manager, std::uint32_t card, std::string& why) {
    std::optional<Watch> watch;
    if (noticeOfThread != nullptr) {
        watch.emplace(*noticeOfThread, manager, card);
        isWatched = true;
    }
    const std::uint32_t rv = manager.begin(card, why);
    isWatched = false;
    if (watch) {
        watch->end(rv == 0);
    }
    return rv;
}

void tellLongWaits() {
    setLongWaitNotice([](const std::string& text) {
        if (silent == nullptr && !isWatched) {
            writeToStandardError("ksigil: " + text + "\n");
        }
    });
}

SilentCalls::SilentCalls() : outer_(silent) {
    silent = this;
}

SilentCalls::~SilentCalls() {
    silent = outer_;
}

bool SilentCalls::areOn() {
    return silent != nullptr;
}

void SilentCalls::tell(const std::string& why) {
    if (silent != nullptr) {
        silent->reason_ = why;
    }
}

}  // namespace platform
