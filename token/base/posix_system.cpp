#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "token/base/file_size_signal.h"
#include "token/base/system.h"

namespace token {
namespace {

int errorOf(int result) {
    return result == 0 ? 0 : errno;
}

FileFacts factsOf(const struct stat& about) {
    const auto kind = S_ISREG(about.st_mode)   ? FileFacts::Kind::file
                      : S_ISLNK(about.st_mode) ? FileFacts::Kind::link
                                               : FileFacts::Kind::other;
    return {kind,
            {about.st_dev, about.st_ino},
            static_cast<std::uint64_t>(about.st_size),
            static_cast<std::uint64_t>(about.st_nlink),
            about.st_uid,
            about.st_mode & 07777};
}

int syncAt(const std::string& path, int flags) {
    const File file(open(path.c_str(), flags | O_RDONLY | O_CLOEXEC));
    return file.isOpen() ? errorOf(fsync(file.descriptor())) : errno;
}

int rename(const std::string& from, const std::string& to, unsigned flags) {
    return errorOf(renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), flags));
}

// Of a file that was made: whatever the umask. It goes where that fails.
int setOwnMode(const std::string& path, const File& file) {
    const int error = errorOf(fchmod(file.descriptor(), 0600));
    if (error != 0) {
        unlink(path.c_str());
    }
    return error;
}

// For file systems that cannot rename without replacing.
int linkAndUnlink(const std::string& from, const std::string& to) {
    if (link(from.c_str(), to.c_str()) != 0) {
        return errno;
    }
    const int error = errorOf(unlink(from.c_str()));
    if (error != 0) {
        unlink(to.c_str());
    }
    return error;
}

struct flock range(short type, std::int64_t from, std::int64_t length) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = static_cast<off_t>(from);
    lock.l_len = static_cast<off_t>(length);
    return lock;
}

int setLock(const File& file, short type, std::int64_t place) {
    struct flock lock = range(type, place, 1);
    return errorOf(fcntl(file.descriptor(), F_OFD_SETLK, &lock));
}

// A regular file with one name, opened as a mere place: so whatever its permissions are, and
// without a lock of this process on it going with the descriptor. Whoever renames the file
// meanwhile changes nothing.
int openPlace(const std::string& path, File& place, struct stat& about) {
    place = File(open(path.c_str(), O_PATH | O_CLOEXEC | O_NOFOLLOW));
    if (!place.isOpen() || fstat(place.descriptor(), &about) != 0) {
        return errno;
    }
    return S_ISREG(about.st_mode) && about.st_nlink == 1 ? 0 : EACCES;
}

int setMode(const File& place, mode_t mode) {
    const std::string path = "/proc/self/fd/" + std::to_string(place.descriptor());
    return errorOf(chmod(path.c_str(), mode));
}

// To a file of this user that has no permissions at all.
int giveMode(const std::string& path) {
    File place;
    struct stat about {};
    const int error = openPlace(path, place, about);
    if (error != 0) {
        return error;
    }
    const bool isOwn = about.st_uid == geteuid() && (about.st_mode & 0777) == 0;
    return isOwn ? setMode(place, 0600) : EACCES;
}

bool isMadeBy(const struct shmid_ds& about, std::uint32_t user) {
    return about.shm_perm.cuid == user && about.shm_perm.uid == user;
}

constinit System operatingSystem;
System* inFront = nullptr;

}  // namespace

int System::look(const std::string& path, Links links, FileFacts& facts) {
    struct stat about {};
    const auto look = links == Links::follow ? ::stat : ::lstat;
    if (look(path.c_str(), &about) != 0) {
        facts = {};
        return errno == ENOENT ? 0 : errno;
    }
    facts = factsOf(about);
    return 0;
}

int System::checkReadable(const std::string& path) {
    return errorOf(access(path.c_str(), R_OK));
}

int System::checkWritable(const std::string& path) {
    return errorOf(access(path.c_str(), W_OK));
}

int System::openToRead(const std::string& path, File& file) {
    file = File(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    return file.isOpen() ? 0 : errno;
}

int System::makeFolder(const std::string& path) {
    if (mkdir(path.c_str(), 0700) != 0) {
        return errno == EEXIST ? 0 : errno;
    }
    const int error = errorOf(chmod(path.c_str(), 0700));
    if (error != 0) {
        rmdir(path.c_str());
    }
    return error;
}

int System::makeFileBeside(const std::string& path, std::string& made, File& file) {
    made = path + ".XXXXXX";
    file = File(mkostemp(made.data(), O_CLOEXEC));
    return file.isOpen() ? setOwnMode(made, file) : errno;
}

int System::closeToOthers(const std::string& path) {
    File place;
    struct stat about {};
    const int error = openPlace(path, place, about);
    const bool isOpenToOthers = (about.st_mode & 0077) != 0;
    return error == 0 && isOpenToOthers ? setMode(place, about.st_mode & 0700) : error;
}

int System::syncFile(const std::string& path) {
    return syncAt(path, 0);
}
int System::syncFolder(const std::string& path) {
    return syncAt(path, O_DIRECTORY);
}

int System::addName(const std::string& path, const std::string& second) {
    return errorOf(link(path.c_str(), second.c_str()));
}
int System::renameToNew(const std::string& from, const std::string& to) {
    const int error = rename(from, to, RENAME_NOREPLACE);
    return error == EINVAL || error == ENOSYS ? linkAndUnlink(from, to) : error;
}
int System::renameOver(const std::string& from, const std::string& to) {
    return rename(from, to, 0);
}
int System::remove(const std::string& path) {
    return errorOf(unlink(path.c_str()));
}

int System::openLockFile(const std::string& path, File& file) {
    constexpr int flags = O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    file = File(open(path.c_str(), flags | O_CREAT | O_EXCL, 0600));
    if (file.isOpen()) {
        fchmod(file.descriptor(), 0600);  // whatever the umask
        return 0;
    }
    if (errno == EEXIST) {
        file = File(open(path.c_str(), flags));
    }
    if (!file.isOpen() && errno == EACCES && giveMode(path) == 0) {
        file = File(open(path.c_str(), flags));
    }
    return file.isOpen() ? 0 : errno;
}

int System::giveToOwnerOf(const std::string& path, const File& file) {
    struct stat other {};
    struct stat own {};
    if (geteuid() != 0 || stat(path.c_str(), &other) != 0 || fstat(file.descriptor(), &own) != 0 ||
        own.st_uid == other.st_uid) {
        return 0;
    }
    return errorOf(fchown(file.descriptor(), other.st_uid, other.st_gid));
}

int System::look(const File& file, FileFacts& facts) {
    struct stat about {};
    const int error = errorOf(fstat(file.descriptor(), &about));
    facts = error == 0 ? factsOf(about) : FileFacts{};
    return error;
}

std::size_t System::readStart(const File& file, std::span<std::byte> bytes) {
    const ssize_t length = pread(file.descriptor(), bytes.data(), bytes.size(), 0);
    return length < 0 ? 0 : static_cast<std::size_t>(length);
}

int System::writeStart(const File& file, std::span<const std::byte> bytes) {
    const NoFileSizeSignal held;
    const ssize_t length = pwrite(file.descriptor(), bytes.data(), bytes.size(), 0);
    if (length < 0) {
        return errno;
    }
    return static_cast<std::size_t>(length) == bytes.size() ? 0 : ENOSPC;
}

int System::lock(const File& file, std::int64_t place) {
    const int error = setLock(file, F_WRLCK, place);
    return error == EACCES ? EAGAIN : error;
}
void System::unlock(const File& file, std::int64_t place) {
    setLock(file, F_UNLCK, place);
}
bool System::isLocked(const File& file, std::int64_t from, std::int64_t length) {
    struct flock lock = range(F_WRLCK, from, length);
    return fcntl(file.descriptor(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

// A descriptor of its own would take this process's locks with it when it is closed: so one is
// looked for that is there.
std::int32_t System::processThatLocks(const std::string& path, std::int64_t from,
                                      std::int64_t length) {
    struct stat wanted {};
    std::error_code error;
    if (stat(path.c_str(), &wanted) != 0) {
        return 0;
    }
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
        const int descriptor = std::atoi(entry.path().filename().c_str());
        struct stat about {};
        struct flock lock = range(F_WRLCK, from, length);
        if (fstat(descriptor, &about) == 0 && about.st_ino == wanted.st_ino &&
            about.st_dev == wanted.st_dev && fcntl(descriptor, F_GETLK, &lock) == 0 &&
            lock.l_type != F_UNLCK) {
            return std::max(lock.l_pid, 0);
        }
    }
    return 0;
}

int System::makeMemory(std::int32_t name, std::size_t bytes, std::int32_t& number) {
    const int made = shmget(name, bytes, IPC_CREAT | IPC_EXCL | 0600);
    if (made < 0) {
        return errno;
    }
    shmctl(made, SHM_LOCK, nullptr);
    number = made;
    return 0;
}

int System::attachMemory(std::int32_t number, std::size_t bytes, std::uint32_t owner,
                         void*& address) {
    struct shmid_ds about {};
    if (shmctl(number, IPC_STAT, &about) != 0) {
        return errno;
    }
    const bool isOurs = isMadeBy(about, geteuid()) || (geteuid() == 0 && isMadeBy(about, owner));
    if (!isOurs || (about.shm_perm.mode & 0777) != 0600) {
        return EACCES;
    }
    if (about.shm_segsz != bytes) {
        return EINVAL;
    }
    void* const region = shmat(number, nullptr, 0);
    if (reinterpret_cast<std::intptr_t>(region) == -1) {
        return errno;
    }
    madvise(region, bytes, MADV_DONTDUMP);
    address = region;
    return 0;
}

void System::detachMemory(void* address) {
    shmdt(address);
}

int System::letMemoryGo(std::int32_t number) {
    return errorOf(shmctl(number, IPC_RMID, nullptr));
}

int System::removeMemory(std::int32_t name) {
    const int number = shmget(name, 0, 0);
    struct shmid_ds about {};
    if (number < 0 || shmctl(number, IPC_STAT, &about) != 0) {
        return errno == ENOENT ? 0 : errno;
    }
    return isMadeBy(about, geteuid()) && about.shm_nattch == 0 ? letMemoryGo(number) : EACCES;
}

std::uint64_t System::memorySpace() {
    struct stat about {};
    return stat("/proc/self/ns/ipc", &about) == 0 ? about.st_ino : 0;
}

std::int32_t System::processNumber() {
    return getpid();
}

bool System::isProcess(std::int32_t number) {
    return number > 0 && (kill(number, 0) == 0 || errno == EPERM);
}

std::uint32_t System::userNumber() {
    return geteuid();
}

System& system() {
    return inFront == nullptr ? operatingSystem : *inFront;
}

void useSystem(System* front) {
    inFront = front;
}

}  // namespace token
