#include "token/power/lock_file.h"

#include <cerrno>
#include <cstddef>
#include <span>

#include "token/base/fault.h"
#include "token/base/system.h"
#include "token/base/waiting.h"

namespace token {
namespace {

constexpr const char* ending = ".lock";
constexpr const char* lockWith = "cannot lock the image with";

// Places of the locks. The bytes themselves mean nothing and need not be in the file.
constexpr std::int64_t connectPlace = std::int64_t{1} << 20;
constexpr std::int64_t serverPlace = connectPlace + 1;
constexpr std::int64_t firstUserPlace = std::int64_t{1} << 21;

constexpr std::uint32_t magic = 0x6B53696C;  // tells the file's content from that of another

template <typename Value>
std::size_t readStart(const File& file, Value& value) {
    return system().readStart(file, std::as_writable_bytes(std::span(&value, 1)));
}

}  // namespace

// Bytes that are not there yet, in the file of an earlier program, count as these.
struct LockFile::Content {
    std::uint32_t magic = token::magic;
    std::int32_t id = -1;
    std::uint64_t stamp = 0;
    std::int32_t server = 0;
    std::int32_t connecting = 0;  // the process that has the connect lock
    std::uint64_t space = 0;
    std::int32_t name = 0;
    std::int32_t unused = 0;
};

bool LockFile::isBeside(const std::string& imagePath) {
    FileFacts facts;
    return system().look(imagePath + ending, Links::stopAt, facts) == 0 &&
           facts.kind != FileFacts::Kind::nothing;
}

LockFile::LockFile(const std::string& imagePath) : path_(imagePath + ending) {
    needSuccess(system().openLockFile(path_, file_), lockWith, path_);
    judge(imagePath);
    // The image's owner could not use a lock file that the superuser has made.
    needSuccess(system().giveToOwnerOf(imagePath, file_), "cannot share", path_);
}

void LockFile::judge(const std::string& imagePath) {
    FileFacts own;
    FileFacts image;
    needSuccess(system().look(file_, own), lockWith, path_);
    const bool isImage = system().look(imagePath, Links::follow, image) == 0 &&
                         image.kind != FileFacts::Kind::nothing;
    owner_ = isImage ? image.owner : system().userNumber();
    std::uint32_t first = 0;
    const bool isKnown =
        own.size == 0 || (readStart(file_, first) == sizeof first && first == magic);
    const auto refuse = [&](const std::string& why) {
        throw Fault(std::string(lockWith) + " " + path_ + ": it " + why);
    };
    if (own.kind != FileFacts::Kind::file || !isKnown) {
        refuse("is something else");
    }
    if (own.names != 1) {
        refuse("has a second name (a hard link)");
    }
    if (const char* const reach = reachOfOthers(own, owner_); reach != nullptr) {
        refuse(std::string("is ") + reach);
    }
}

LockFile::ConnectLock::ConnectLock(const LockFile& file)
    : file_(file), thread_(file.connectMutex_) {
    Wait wait("connects to the image or looks after it");
    int error = EAGAIN;
    while ((error = system().lock(file_.file_, connectPlace)) == EAGAIN) {
        if (!wait.pause(file_.connecting())) {
            throw Fault("another process has " + file_.path_ + " locked");
        }
    }
    needSuccess(error, lockWith, file_.path_);
    file_.setConnecting(system().processNumber());
}

LockFile::ConnectLock::~ConnectLock() {
    file_.setConnecting(0);
    system().unlock(file_.file_, connectPlace);
}

LockFile::Content LockFile::content() const {
    Content content;
    constexpr std::size_t least = offsetof(Content, server);
    const bool isWhole = readStart(file_, content) >= least;
    return isWhole && content.magic == magic ? content : Content{};
}

int LockFile::store(const Content& content) const {
    return system().writeStart(file_, std::as_bytes(std::span(&content, 1)));
}

LockFile::Memory LockFile::memory() const {
    const Content known = content();
    return {known.id, known.stamp, known.space, known.name};
}

void LockFile::setMemory(const Memory& memory) const {
    Content next = content();
    next.id = memory.id;
    next.stamp = memory.stamp;
    next.space = memory.space;
    next.name = memory.name;
    needSuccess(store(next), "cannot write", path_);
}

// 0 if it is not known. One that was ended with the lock stays in the file.
std::int32_t LockFile::connecting() const {
    const std::int32_t process = content().connecting;
    return system().isProcess(process) ? process : 0;
}

// Only shown: a full disk is no reason not to go on.
void LockFile::setConnecting(std::int32_t process) const {
    Content next = content();
    next.connecting = process;
    static_cast<void>(store(next));
}

void LockFile::serve() const {
    Content next = content();
    next.server = system().processNumber();
    needSuccess(store(next), "cannot write", path_);
    needSuccess(system().lock(file_, serverPlace), lockWith, path_);
}

bool LockFile::isServed() const {
    return system().isLocked(file_, serverPlace, 1);
}

std::int32_t LockFile::server() const {
    return content().server;
}

void LockFile::lockUser(std::uint32_t user) const {
    needSuccess(system().lock(file_, firstUserPlace + user), lockWith, path_);
}

bool LockFile::isUserThere(std::uint32_t user) const {
    return system().isLocked(file_, firstUserPlace + user, 1);
}

bool LockFile::isAnyUserThere() const {
    return system().isLocked(file_, firstUserPlace, 0);
}

void needNoUserLeft(const LockFile& lockFile, const std::string& imagePath) {
    if (lockFile.isAnyUserThere()) {
        throw Fault("the image " + imagePath +
                    " was removed while in use: put it back, or end the programs that use it");
    }
}

bool isPowered(const std::string& imagePath) {
    return LockFile::isBeside(imagePath) && LockFile(imagePath).isAnyUserThere();
}

}  // namespace token
