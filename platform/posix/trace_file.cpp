#include "platform/trace_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "token/base/file_size_signal.h"

namespace platform {
namespace {

bool isOwnPlainFile(const struct stat& about) {
    return S_ISREG(about.st_mode) && about.st_uid == geteuid() && about.st_nlink == 1;
}

// Whether the path is the open file's only name. One look tells: two could have a change between.
bool isOnlyName(const char* path, int descriptor) {
    struct stat opened {};
    struct stat named {};
    return fstat(descriptor, &opened) == 0 && lstat(path, &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino && isOwnPlainFile(named);
}

// Of a program that was started without its standard streams, the first descriptors are free. The
// file must not take their place, or the program's output would go into it.
int aboveStandardStreams(int descriptor) {
    int moved = descriptor;
    if (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        ::close(descriptor);
    }
    return moved;
}

// Waits for nobody, follows no link and empties nothing. What is no plain file is not even opened,
// since that alone may wake a reader or move a tape. -1 on failure.
int openOwnFile(const char* path, int flags) {
    struct stat about {};
    if (lstat(path, &about) == 0 && !isOwnPlainFile(about)) {
        return -1;
    }
    int descriptor = aboveStandardStreams(
        open(path, flags | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600));
    if (descriptor >= 0 && (!isOnlyName(path, descriptor) || fchmod(descriptor, 0600) != 0)) {
        ::close(descriptor);
        descriptor = -1;
    }
    return descriptor;
}

// One piece of the tail, to its place from `offset` to `target`.
void moveBytes(int descriptor, char* buffer, std::size_t length, off_t offset, off_t target) {
    std::fill_n(buffer, length, '\0');
    static_cast<void>(!pread(descriptor, buffer, length, offset));
    static_cast<void>(!pwrite(descriptor, buffer, length, target));
}

}  // namespace

void TraceFile::openEmptied(const char* path) {
    descriptor_ = openOwnFile(path, O_WRONLY);
    if (descriptor_ != none && ftruncate(descriptor_, 0) != 0) {
        close();
    }
}

void TraceFile::openAppending(const char* path) {
    descriptor_ = openOwnFile(path, O_WRONLY | O_APPEND);
    if (descriptor_ != none) {
        lseek(descriptor_, 0, SEEK_END);
    }
}

void TraceFile::write(std::string_view text) {
    if (descriptor_ != none) {
        const token::NoFileSizeSignal held;
        const ssize_t written = ::write(descriptor_, text.data(), text.size());
        if (written != static_cast<ssize_t>(text.size())) {
            close();
        }
    }
}

std::int64_t TraceFile::position() const {
    return descriptor_ == none ? -1 : lseek(descriptor_, 0, SEEK_CUR);
}

void TraceFile::close() {
    if (descriptor_ != none) {
        ::close(descriptor_);
        descriptor_ = none;
    }
}

void keepTail(const char* path, std::int64_t position, std::int64_t count) {
    const int descriptor = openOwnFile(path, O_RDWR);
    if (descriptor >= 0) {
        const token::NoFileSizeSignal held;
        char buffer[4096];
        for (std::int64_t done = 0; done < count;) {
            const auto length = std::min<std::int64_t>(count - done, sizeof buffer);
            moveBytes(descriptor, buffer, static_cast<std::size_t>(length), position - count + done,
                      done);
            done += length;
        }
        static_cast<void>(!ftruncate(descriptor, count));
        ::close(descriptor);
    }
}

}  // namespace platform
