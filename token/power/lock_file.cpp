#include "token/power/lock_file.h"

#include <cstddef>
#include <span>

#include "token/base/fault.h"
#include "token/base/system.h"

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

struct LockFile::Content {
    std::uint32_t magic = token::magic;
    std::int32_t id = -1;
    std::uint64_t stamp = 0;
    std::int32_t server = 0;  // not there before there was a first server
    std::int32_t unused = 0;
};

bool LockFile::isBeside(const std::string& imagePath) {
    FileFacts facts;
    return system().look(imagePath + ending, Links::follow, facts) == 0 &&
           facts.kind != FileFacts::Kind::nothing;
}

LockFile::LockFile(const std::string& imagePath) : path_(imagePath + ending) {
    needSuccess(system().openLockFile(path_, file_), lockWith, path_);
    FileFacts facts;
    needSuccess(system().look(file_, facts), lockWith, path_);
    std::uint32_t first = 0;
    const bool isOurs =
        facts.size == 0 || (readStart(file_, first) == sizeof first && first == magic);
    if (facts.kind != FileFacts::Kind::file || !isOurs) {
        throw Fault("cannot lock the image with " + path_ + ": it is something else");
    }
    // The image's owner could not use a lock file that the superuser has made.
    needSuccess(system().giveToOwnerOf(imagePath, file_), "cannot share", path_);
}

LockFile::ConnectLock::ConnectLock(const LockFile& file) : file_(file), thread_(file.connecting_) {
    needSuccess(system().lock(file_.file_, connectPlace), lockWith, file_.path_);
}

LockFile::ConnectLock::~ConnectLock() {
    system().unlock(file_.file_, connectPlace);
}

LockFile::Content LockFile::content() const {
    Content content;
    constexpr std::size_t withoutServer = offsetof(Content, server);
    const bool isWhole = readStart(file_, content) >= withoutServer;
    return isWhole && content.magic == magic ? content : Content{};
}

void LockFile::store(const Content& content) const {
    needSuccess(system().writeStart(file_, std::as_bytes(std::span(&content, 1))), "cannot write",
                path_);
}

LockFile::Memory LockFile::memory() const {
    const Content known = content();
    return {known.id, known.stamp};
}

void LockFile::setMemory(const Memory& memory) const {
    Content next = content();
    next.id = memory.id;
    next.stamp = memory.stamp;
    store(next);
}

void LockFile::serve() const {
    Content next = content();
    next.server = system().processNumber();
    store(next);
    needSuccess(system().tryLock(file_, serverPlace), lockWith, path_);
}

bool LockFile::isServed() const {
    return system().isLocked(file_, serverPlace, 1);
}

std::int32_t LockFile::server() const {
    return content().server;
}

void LockFile::lockUser(std::uint32_t user) const {
    needSuccess(system().tryLock(file_, firstUserPlace + user), lockWith, path_);
}

bool LockFile::isUserThere(std::uint32_t user) const {
    return system().isLocked(file_, firstUserPlace + user, 1);
}

bool LockFile::isAnyUserThere() const {
    return system().isLocked(file_, firstUserPlace, 0);
}

bool isPowered(const std::string& imagePath) {
    return LockFile::isBeside(imagePath) && LockFile(imagePath).isAnyUserThere();
}

}  // namespace token
