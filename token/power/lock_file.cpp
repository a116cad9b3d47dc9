#include "token/power/lock_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "token/base/fault.h"

namespace token {
namespace {

constexpr const char* ending = ".lock";

// Places of the locks. The bytes themselves mean nothing and need not be in the file.
constexpr std::int64_t connectingPlace = std::int64_t{1} << 20;
constexpr std::int64_t serverPlace = connectingPlace + 1;
constexpr std::int64_t firstUserPlace = std::int64_t{1} << 21;

constexpr std::uint32_t magic = 0x6B53696C;  // tells the file's content from that of another

int openAt(const std::string& path) {
    constexpr int flags = O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    int descriptor = open(path.c_str(), flags | O_CREAT | O_EXCL, 0600);
    if (descriptor >= 0) {
        fchmod(descriptor, 0600);  // whatever the umask
    } else if (errno == EEXIST) {
        descriptor = open(path.c_str(), flags);
    }
    return descriptor;
}

struct flock range(short type, std::int64_t from, std::int64_t length) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = from;
    lock.l_len = length;
    return lock;
}

}  // namespace

struct LockFile::Content {
    std::uint32_t magic = token::magic;
    std::int32_t id = -1;
    std::uint64_t stamp = 0;
    std::int32_t server = 0;  // of a file that was written before there were servers: not there
    std::int32_t unused = 0;
};

bool LockFile::isBeside(const std::string& imagePath) {
    return access((imagePath + ending).c_str(), F_OK) == 0;
}

LockFile::LockFile(const std::string& imagePath) : path_(imagePath + ending), file_(openAt(path_)) {
    struct stat about {};
    if (!file_.isOpen() || fstat(file_.descriptor(), &about) != 0) {
        throw systemFault("cannot lock the image with", path_);
    }
    std::uint32_t first = 0;
    const bool isOurs =
        about.st_size == 0 ||
        (pread(file_.descriptor(), &first, sizeof first, 0) == sizeof first && first == magic);
    if (!S_ISREG(about.st_mode) || !isOurs) {
        throw Fault("cannot lock the image with " + path_ + ": it is something else");
    }
    shareWithOwnerOf(imagePath);
}

bool LockFile::setLock(short type, std::int64_t at, bool wait) const {
    struct flock lock = range(type, at, 1);
    int result = 0;
    do {
        result = fcntl(file_.descriptor(), wait ? F_OFD_SETLKW : F_OFD_SETLK, &lock);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool LockFile::isLocked(std::int64_t from, std::int64_t length) const {
    struct flock lock = range(F_WRLCK, from, length);
    return fcntl(file_.descriptor(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

void LockFile::shareWithOwnerOf(const std::string& imagePath) const {
    struct stat image {};
    struct stat own {};
    if (geteuid() == 0 && stat(imagePath.c_str(), &image) == 0 &&
        fstat(file_.descriptor(), &own) == 0 && own.st_uid != image.st_uid &&
        fchown(file_.descriptor(), image.st_uid, image.st_gid) != 0) {
        throw systemFault("cannot share", path_);
    }
}

LockFile::Connecting::Connecting(const LockFile& file) : file_(file), thread_(file.connecting_) {
    if (!file_.setLock(F_WRLCK, connectingPlace, true)) {
        throw systemFault("cannot lock the image with", file_.path_);
    }
}

LockFile::Connecting::~Connecting() {
    file_.setLock(F_UNLCK, connectingPlace, false);
}

LockFile::Content LockFile::content() const {
    constexpr ssize_t withoutServer = offsetof(Content, server);
    Content content;
    const ssize_t length = pread(file_.descriptor(), &content, sizeof content, 0);
    return length >= withoutServer && content.magic == magic ? content : Content{};
}

void LockFile::store(const Content& content) const {
    if (pwrite(file_.descriptor(), &content, sizeof content, 0) != sizeof content) {
        throw systemFault("cannot write", path_);
    }
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
    next.server = getpid();
    store(next);
    if (!setLock(F_WRLCK, serverPlace, false)) {
        throw systemFault("cannot lock the image with", path_);
    }
}

bool LockFile::isServed() const {
    return isLocked(serverPlace, 1);
}

std::int32_t LockFile::server() const {
    return content().server;
}

void LockFile::showUser(std::uint32_t user) const {
    if (!setLock(F_WRLCK, firstUserPlace + user, false)) {
        throw systemFault("cannot lock the image with", path_);
    }
}

bool LockFile::isUserThere(std::uint32_t user) const {
    return isLocked(firstUserPlace + user, 1);
}

bool LockFile::isAnyUserThere() const {
    return isLocked(firstUserPlace, 0);
}

bool isPowered(const std::string& imagePath) {
    return LockFile::isBeside(imagePath) && LockFile(imagePath).isAnyUserThere();
}

}  // namespace token
