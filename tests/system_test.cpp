// Each call by which the token changes something on the system fails once, and ends the process
// once. The image has to be whole afterwards, and the next try has to succeed.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "tests/toolbox/trial_token.h"
#include "token/base/fault.h"
#include "token/base/system.h"
#include "token/care/backup.h"
#include "token/care/check.h"
#include "token/care/create.h"
#include "token/care/restore.h"

namespace {

using Os = token::System;

// Stands in front of the operating system while it exists. The nth call that changes something
// fails with EIO, or ends the process before it is made. Nothing gets a name before it is synced.
class FrontSystem final : public Os {
  public:
    using Path = const std::string&;
    using File = const token::File&;
    enum class Strike { fail, end };

    FrontSystem(int callsBefore, Strike strike) : callsLeft_(callsBefore), strike_(strike) {
        token::useSystem(this);
    }
    FrontSystem(const FrontSystem&) = delete;
    FrontSystem& operator=(const FrontSystem&) = delete;
    ~FrontSystem() { token::useSystem(nullptr); }

    bool hasStruck() const { return callsLeft_ < 0; }
    bool areNamesSynced() const { return areNamesSynced_; }

    int makeFolder(Path path) override { return hit() ? EIO : Os::makeFolder(path); }
    int makeFileBeside(Path path, std::string& made, token::File& file) override {
        const int error = hit() ? EIO : Os::makeFileBeside(path, made, file);
        unsynced_ = made;
        return error;
    }
    int syncFile(Path path) override {
        unsynced_ = path == unsynced_ ? "" : unsynced_;
        return hit() ? EIO : Os::syncFile(path);
    }
    int syncFolder(Path path) override {
        areNamesSynced_ = true;
        return hit() ? EIO : Os::syncFolder(path);
    }
    int addName(Path path, Path name) override {
        return naming(path) ? EIO : Os::addName(path, name);
    }
    int renameToNew(Path from, Path to) override {
        return naming(from) ? EIO : Os::renameToNew(from, to);
    }
    int renameOver(Path from, Path to) override {
        return naming(from) ? EIO : Os::renameOver(from, to);
    }
    int remove(Path path) override { return hit() ? EIO : Os::remove(path); }
    int openLockFile(Path path, token::File& file) override {
        return hit() ? EIO : Os::openLockFile(path, file);
    }
    int giveToOwnerOf(Path path, File file) override {
        return hit() ? EIO : Os::giveToOwnerOf(path, file);
    }
    int writeStart(File file, std::span<const std::byte> bytes) override {
        return hit() ? EIO : Os::writeStart(file, bytes);
    }
    int lock(File file, std::int64_t at) override { return hit() ? EIO : Os::lock(file, at); }
    int makeMemory(std::int32_t name, std::size_t bytes, std::int32_t& number) override {
        return hit() ? EIO : Os::makeMemory(name, bytes, number);
    }
    int attachMemory(std::int32_t number, std::size_t bytes, std::uint32_t owner,
                     void*& address) override {
        return hit() ? EIO : Os::attachMemory(number, bytes, owner, address);
    }
    int letMemoryGo(std::int32_t number) override { return hit() ? EIO : Os::letMemoryGo(number); }

  private:
    bool naming(Path path) {
        EXPECT_NE(path, unsynced_);
        areNamesSynced_ = false;
        return hit();
    }
    bool hit() {
        const bool now = callsLeft_-- == 0;
        if (now && strike_ == Strike::end) {
            _exit(0);
        }
        return now;
    }

    int callsLeft_;
    Strike strike_;
    std::string unsynced_;  // the file that was made last
    bool areNamesSynced_ = true;
};

namespace fs = std::filesystem;
using Strike = FrontSystem::Strike;

const std::string freshRoot = "00000090", trialRoot = "03000100020003000090", broken = "broken";

struct Files {
    ScratchFolder folder;
    std::string path = folder.file("token.db");
    std::string other = folder.file("other.db");  // a backup, or its future place

    // The root's listing, or why there is none.
    std::string root() const {
        TrialToken token(path);
        const bool isBroken = token.why.find("not a token image") != std::string::npos;
        return token.connection ? token.see()[3] : isBroken ? broken : token.why;
    }
};

struct Act {
    const char* name;
    void (*prepare)(const Files& files);
    void (*perform)(const Files& files);
    std::string before, after;  // the root's listing
};

void putNothing(const Files&) {}
void putTrial(const Files& files) {
    putTrialImage(files.path);
}
void putTrialAndBackup(const Files& files) {
    putTrialImage(files.path);
    putFreshImage(files.other);
}
void putBrokenAndBackup(const Files& files) {
    put(files.path, "no image");
    put(files.path + "-wal", "its log");
    putFreshImage(files.other);
}

void create(const Files& files) {
    token::createToken(files.path);
}
void connect(const Files& files) {
    token::Slot slot({files.path, false});
    connectionTo(slot);
}
void backUp(const Files& files) {
    token::backUp(files.path, files.other);
}
void restore(const Files& files) {
    token::restore(files.path, files.other);
}

const Act acts[] = {{"create", putNothing, create, freshRoot, freshRoot},
                    {"connect", putNothing, connect, freshRoot, freshRoot},
                    {"power", putTrial, connect, trialRoot, trialRoot},
                    {"backup", putTrial, backUp, trialRoot, trialRoot},
                    {"restore", putTrialAndBackup, restore, trialRoot, freshRoot},
                    {"replace", putBrokenAndBackup, restore, broken, freshRoot}};

// False if the act ended before its nth call.
bool performWithStrike(const Act& act, const Files& files, int nth, Strike strike) {
    if (strike == Strike::fail) {
        const FrontSystem front(nth, strike);
        try {
            act.perform(files);
        } catch (const token::Fault&) {
            EXPECT_TRUE(front.hasStruck());
        }
        EXPECT_TRUE(front.hasStruck() || front.areNamesSynced());
        return front.hasStruck();
    }
    const pid_t child = fork();
    if (child == 0) {
        const FrontSystem front(nth, strike);
        act.perform(files);
        _exit(1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WEXITSTATUS(status) == 0;
}

// The image, its log, and a backup that has got its name, are whole; the next try comes to its end.
// One that was cut off may leave the image a second name.
void expectWhole(const Act& act, const Files& files, Strike strike) {
    const std::string root = files.root();
    const bool isAside = root.find("has a second name") != std::string::npos;
    EXPECT_TRUE(root == act.before || root == act.after || (isAside && strike == Strike::end))
        << root;
    EXPECT_EQ(root == broken, fs::exists(files.path + "-wal") && !isAside);
    if (fs::exists(files.other)) {
        EXPECT_TRUE(token::check(files.other, nullptr).problems.empty());
    }
    try {
        act.perform(files);
    } catch (const token::Fault& fault) {
        const std::string words =
            act.before == broken ? "set the old image aside" : "exists already";
        EXPECT_NE(std::string(fault.what()).find(words), std::string::npos) << fault.what();
        EXPECT_EQ(root, act.after);
    }
    EXPECT_EQ(files.root(), act.after);
    EXPECT_TRUE(token::check(files.path, nullptr).problems.empty());
}

TEST(System, MayFailOrEndTheProcessAtAnyCall) {
    for (const Act& act : acts) {
        for (const Strike strike : {Strike::fail, Strike::end}) {
            bool hasStruck = true;
            int nth = 0;
            for (; hasStruck; ++nth) {
                SCOPED_TRACE(act.name + std::to_string(nth) + (strike == Strike::end ? "e" : "f"));
                const Files files;
                act.prepare(files);
                hasStruck = performWithStrike(act, files, nth, strike);
                expectWhole(act, files, strike);
            }
            EXPECT_GT(nth, 4) << act.name;
        }
    }
}

}  // namespace
