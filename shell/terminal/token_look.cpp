#include "shell/terminal/token_look.h"

#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

#include "Components/qv_aid/qv_filesystem.h"
#include "apdulib/rm_apdutalker.h"
#include "include/reader_name.h"
#include "include/result_numbers.h"
#include "platform/quiet_thread.h"
#include "platform/waiting_notice.h"
#include "platform/win32.h"

namespace ksigil {

using std::chrono::steady_clock;

namespace {

constexpr std::chrono::milliseconds patience{500};
constexpr std::chrono::seconds justRead{5};

// Sends nothing more once nobody waits for the answer.
class BreakableTalker : public ApduTalker {
  public:
    BreakableTalker(RMApduTalker& talker, const std::atomic<bool>& isGivenUp)
        : talker_(talker), isGivenUp_(isGivenUp) {}

    u32 transmit(const u8* sendBuffer, u32 sendLength, u8* receiveBuffer,
                 u32* receiveLength) override {
        return isGivenUp_ ? result::fail
                          : talker_.transmit(sendBuffer, sendLength, receiveBuffer, receiveLength);
    }

  private:
    RMApduTalker& talker_;
    const std::atomic<bool>& isGivenUp_;
};

}  // namespace

struct TokenLook::Look {
    explicit Look(std::string directory) : path(std::move(directory)) {}

    void run() {
        const platform::SilentCalls silence;
        std::vector<QVFileInfo> found;
        u32 rv = result::fail;
        try {
            rv = list(found);
        } catch (const std::exception&) {
            found.clear();
        } catch (...) {
            found.clear();
        }
        {
            const std::lock_guard guard(mutex);
            succeeded = rv == result::success;
            children = std::move(found);
            isDone = true;
        }
        done.notify_one();
    }

    u32 list(std::vector<QVFileInfo>& found) {
        RMApduTalker talker(readerName, SCARD_SHARE_SHARED);
        u32 rv = talker.create();
        if (rv == result::success) {
            rv = talker.lock();
        }
        while (isProgramEnding) {
            pause();  // what the rest would touch may be gone; the lock goes with the program
        }
        if (rv == result::success) {
            BreakableTalker breakable(talker, isGivenUp);
            rv = QVFileSystem().directoryPath(breakable, path, found);
            talker.unlock(SCARD_LEAVE_CARD);
        }
        talker.detach(SCARD_LEAVE_CARD);  // threads have a connection each, and this one ends
        return rv;
    }

    std::string path;
    std::atomic<bool> isGivenUp = false;
    std::atomic<bool> isProgramEnding = false;
    std::thread thread;
    std::mutex mutex;
    std::condition_variable done;
    bool isDone = false;
    bool succeeded = false;
    std::vector<QVFileInfo> children;
};

TokenLook::~TokenLook() {
    if (running_) {
        running_->isProgramEnding = true;
        std::unique_lock guard(running_->mutex);
        const bool isDone = running_->isDone;
        guard.unlock();
        if (isDone) {
            running_->thread.join();
        } else {
            running_->thread.detach();
        }
    }
}

std::optional<std::vector<QVFileInfo>> TokenLook::children(const std::string& path) {
    if (known_ && known_->path == path && steady_clock::now() - known_->since < justRead) {
        return known_->children;
    }
    const auto deadline = steady_clock::now() + patience;
    const auto isDoneBy = [this, deadline] {
        std::unique_lock guard(running_->mutex);
        return running_->done.wait_until(guard, deadline, [this] { return running_->isDone; });
    };
    if (running_) {
        if (!isDoneBy()) {
            return std::nullopt;
        }
        running_->thread.join();
        running_.reset();
    }
    running_ = std::make_shared<Look>(path);
    running_->thread = platform::startQuietThread([look = running_] { look->run(); });
    if (!running_->thread.joinable()) {
        running_.reset();
        return std::nullopt;
    }
    if (!isDoneBy()) {
        running_->isGivenUp = true;
        return std::nullopt;
    }
    running_->thread.join();
    const std::shared_ptr<Look> look = std::move(running_);
    running_.reset();
    if (!look->succeeded) {
        return std::nullopt;
    }
    known_ = {path, look->children, steady_clock::now()};
    return look->children;
}

namespace {

// A failure below leaves it at what was found.
u32 count(RMApduTalker& talker, const std::string& path, Subtree& subtree) {
    std::vector<QVFileInfo> children;
    const u32 rv = QVFileSystem().directoryPath(talker, path, children);
    subtree.objects += children.size();
    for (const QVFileInfo& child : children) {
        if (child.isDirectory() && count(talker, path + child.name, subtree) != result::success) {
            subtree.isCounted = false;
        }
    }
    return rv;
}

}  // namespace

std::optional<Subtree> subtreeOf(const std::string& path) {
    const platform::SilentCalls silence;
    RMApduTalker talker(readerName, SCARD_SHARE_SHARED);
    if (talker.create() != result::success || talker.lock() != result::success) {
        return std::nullopt;
    }
    Subtree subtree;
    const u32 rv = count(talker, path, subtree);
    subtree.isCounted = subtree.isCounted && rv == result::success;
    if (talker.unlock(SCARD_LEAVE_CARD) != result::success) {
        talker.detach(SCARD_LEAVE_CARD);  // the shell's commands must find no lock of this one's
    }
    return rv == result::success || subtree.objects > 0 ? std::optional(subtree) : std::nullopt;
}

}  // namespace ksigil
