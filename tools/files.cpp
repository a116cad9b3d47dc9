#include "tools/files.h"

#include <cerrno>

#include "tools/failure.h"

namespace tools {
namespace {

constexpr std::size_t bytesAtOnce = 65536;
const std::string standardOutput = "standard output";

}  // namespace

InputFile::InputFile(const std::string& name)
    : name_(name == "-" ? "standard input" : name),
      file_(name == "-" ? platform::Descriptor() : platform::openToRead(name)) {
    if (name != "-" && !file_.isOpen()) {
        throw Failure::ofSystem("cannot open " + name, errno);
    }
}

OutputFile::OutputFile(const std::string& name, bool isPrivate) : name_(platform::realName(name)) {
    if (platform::isOtherThanFile(name_)) {  // a pipe may keep it waiting: a signal ends it then
        file_ = platform::openToWrite(name_);
    } else {
        held_.emplace();
        beside_ = name_;
        file_ = platform::makeBeside(beside_, isPrivate);
    }
    if (!file_.isOpen()) {
        const int why = errno;
        beside_.clear();
        throw Failure::ofSystem("cannot make " + name, why);
    }
}

OutputFile::~OutputFile() {
    if (!beside_.empty()) {
        file_.close();
        platform::removeFile(beside_);
    }
}

void OutputFile::commit() {
    if (beside_.empty()) {
        return;
    }
    const bool isWritten = platform::sync(file_);
    file_.close();
    if (!isWritten || !platform::replaceFile(beside_, name_)) {
        throw Failure::ofSystem("cannot write " + name_, errno);
    }
    beside_.clear();
    held_.reset();
}

std::size_t readSome(int descriptor, std::span<std::uint8_t> room, const std::string& name) {
    const std::ptrdiff_t count = platform::readSome(descriptor, room.data(), room.size());
    if (count < 0) {
        throw Failure::ofSystem("cannot read " + name, errno);
    }
    return static_cast<std::size_t>(count);
}

void writeAll(int descriptor, std::span<const std::uint8_t> bytes, const std::string& name) {
    while (!bytes.empty()) {
        const std::ptrdiff_t count = platform::writeSome(descriptor, bytes.data(), bytes.size());
        if (count < 0) {
            throw Failure::ofSystem("cannot write " + name, errno);
        }
        bytes = bytes.subspan(static_cast<std::size_t>(count));
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
    writeAll(platform::standardOutput, text, standardOutput);
}

void putOut(const std::string& name, std::span<const std::uint8_t> bytes, bool isPrivate,
            std::size_t first) {
    if (name != "-") {
        OutputFile file(name, isPrivate);
        writeAll(file.descriptor(), bytes, name);
        file.commit();
    } else if (platform::isTerminal(platform::standardOutput)) {
        tell(dumpOf(bytes, first));
    } else {
        writeAll(platform::standardOutput, bytes, standardOutput);
    }
}

}  // namespace tools
