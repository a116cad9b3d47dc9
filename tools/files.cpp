#include "tools/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>

#include "tools/failure.h"

namespace tools {
namespace {

constexpr std::size_t bytesAtOnce = 65536;
const std::string standardOutput = "standard output";

// The file that a name stands for, behind its links.
std::string realName(const std::string& name) {
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(name.c_str(), nullptr),
                                                           &std::free);
    return real ? real.get() : name;
}

bool isOtherThanFile(const std::string& name) {
    struct stat about {};
    return stat(name.c_str(), &about) == 0 && !S_ISREG(about.st_mode);
}

mode_t publicMode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

}  // namespace

Descriptor::~Descriptor() {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}

InputFile::InputFile(const std::string& name)
    : name_(name == "-" ? "standard input" : name),
      file_(name == "-" ? -1 : open(name.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (name != "-" && file_.get() < 0) {
        throw Failure::ofSystem("cannot open " + name, errno);
    }
}

OutputFile::OutputFile(const std::string& name, bool isPrivate)
    : name_(realName(name)), beside_(isOtherThanFile(name_) ? "" : name_ + ".XXXXXX") {
    if (beside_.empty()) {  // a pipe may keep it waiting, and a signal then ends it at once
        file_ = Descriptor(open(name_.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
    } else {
        held_.emplace();
        file_ = Descriptor(mkostemp(beside_.data(), O_CLOEXEC));
    }
    if (file_.get() < 0) {
        throw Failure::ofSystem("cannot make " + name, errno);
    }
    if (!beside_.empty() && !isPrivate) {
        fchmod(file_.get(), publicMode());
    }
}

OutputFile::~OutputFile() {
    if (!beside_.empty()) {
        unlink(beside_.c_str());
    }
}

void OutputFile::commit() {
    if (beside_.empty()) {
        return;
    }
    if (fsync(file_.get()) != 0 || rename(beside_.c_str(), name_.c_str()) != 0) {
        throw Failure::ofSystem("cannot write " + name_, errno);
    }
    beside_.clear();
    held_.reset();
}

std::size_t readSome(int descriptor, std::span<std::uint8_t> room, const std::string& name) {
    ssize_t count = 0;
    do {
        count = read(descriptor, room.data(), room.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        throw Failure::ofSystem("cannot read " + name, errno);
    }
    return static_cast<std::size_t>(count);
}

void writeAll(int descriptor, std::span<const std::uint8_t> bytes, const std::string& name) {
    while (!bytes.empty()) {
        const ssize_t count = write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            throw Failure::ofSystem("cannot write " + name, errno);
        }
        bytes = bytes.subspan(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
}

void writeAll(int descriptor, const std::string& text, const std::string& name) {
    writeAll(descriptor, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, name);
}

Bytes readAll(const Read& read, std::size_t most, const std::string& name) {
    Bytes bytes;
    std::size_t length = 0;
    std::size_t count = 0;
    do {
        bytes.resize(length + bytesAtOnce);
        count = read(std::span(bytes).subspan(length));
        length += count;
        if (length > most) {
            throw Failure(name + " has more than " + std::to_string(most) +
                          " bytes, which is the most");
        }
    } while (count != 0);
    bytes.resize(length);
    return bytes;
}

Bytes readAll(int descriptor, std::size_t most, const std::string& name) {
    return readAll([&](std::span<std::uint8_t> room) { return readSome(descriptor, room, name); },
                   most, name);
}

Bytes readFile(const std::string& name, std::size_t most) {
    const InputFile file(name);
    return readAll(file.descriptor(), most, file.name());
}

void tell(const std::string& text) {
    writeAll(STDOUT_FILENO, text, standardOutput);
}

void putOut(const std::string& name, std::span<const std::uint8_t> bytes, bool isPrivate,
            std::size_t first) {
    if (name != "-") {
        OutputFile file(name, isPrivate);
        writeAll(file.descriptor(), bytes, name);
        file.commit();
    } else if (isatty(STDOUT_FILENO) == 1) {
        tell(dumpOf(bytes, first));
    } else {
        writeAll(STDOUT_FILENO, bytes, standardOutput);
    }
}

}  // namespace tools
