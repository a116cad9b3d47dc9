#include "platform/program/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace platform {
namespace {

mode_t publicMode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

}  // namespace

void Descriptor::close() {
    if (isOpen()) {
        ::close(std::exchange(descriptor_, -1));
    }
}

Descriptor openToRead(const std::string& name) {
    return Descriptor(open(name.c_str(), O_RDONLY | O_CLOEXEC));
}

Descriptor openToWrite(const std::string& name) {
    return Descriptor(open(name.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
}

std::ptrdiff_t readSome(int descriptor, void* room, std::size_t length) {
    ssize_t count = 0;
    do {
        count = read(descriptor, room, length);
    } while (count < 0 && errno == EINTR);
    return count;
}

std::ptrdiff_t writeSome(int descriptor, const void* bytes, std::size_t length) {
    ssize_t count = 0;
    do {
        count = write(descriptor, bytes, length);
    } while (count < 0 && errno == EINTR);
    return count;
}

bool isTerminal(int descriptor) {
    return isatty(descriptor) == 1;
}

bool isOtherThanFile(const std::string& name) {
    struct stat about {};
    return stat(name.c_str(), &about) == 0 && !S_ISREG(about.st_mode);
}

std::string realName(const std::string& name) {
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(name.c_str(), nullptr),
                                                           &std::free);
    return real ? real.get() : name;
}

Descriptor makeBeside(std::string& name, bool isPrivate) {
    name += ".XXXXXX";
    Descriptor file(mkostemp(name.data(), O_CLOEXEC));
    if (file.isOpen() && !isPrivate) {
        fchmod(file.get(), publicMode());
    }
    return file;
}

Descriptor makeFile(const std::string& name) {
    return Descriptor(open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
}

bool sync(const Descriptor& file) {
    return fsync(file.get()) == 0;
}

bool replaceFile(const std::string& from, const std::string& to) {
    return std::rename(from.c_str(), to.c_str()) == 0;
}

void removeFile(const std::string& name) {
    unlink(name.c_str());
}

}  // namespace platform
