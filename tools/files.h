#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>

#include "platform/program/files.h"
#include "platform/program/interrupt.h"
#include "tools/text.h"

namespace tools {

// A file to read from; "-" is standard input.
class InputFile {
  public:
    explicit InputFile(const std::string& name);

    int descriptor() const { return file_.isOpen() ? file_.get() : platform::standardInput; }
    const std::string& name() const { return name_; }

  private:
    std::string name_;
    platform::Descriptor file_;
};

// A file that gets its name whole or not at all, in place of what has it. What is no regular file,
// a device or a pipe, is written as it is.
class OutputFile {
  public:
    OutputFile(const std::string& name, bool isPrivate);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    int descriptor() const { return file_.get(); }
    void commit();

  private:
    std::string name_;
    std::string beside_;                  // empty: there is nothing to rename
    std::optional<platform::Held> held_;  // while there is
    platform::Descriptor file_;
};

// All of these throw Failure, with `name` in it.

// 0 at the end of the file.
std::size_t readSome(int descriptor, std::span<std::uint8_t> room, const std::string& name);
void writeAll(int descriptor, std::span<const std::uint8_t> bytes, const std::string& name);
void writeAll(int descriptor, const std::string& text, const std::string& name);

// Puts some bytes into the room and tells how many, 0 at the end.
using Read = std::function<std::size_t(std::span<std::uint8_t> room)>;

// All that is read, comes from the descriptor, or is in the file; more than `most` bytes are
// refused.
Bytes readAll(const Read& read, std::size_t most, const std::string& name);
Bytes readAll(int descriptor, std::size_t most, const std::string& name);
Bytes readFile(const std::string& name, std::size_t most);

// Text on standard output.
void tell(const std::string& text);

// Puts bytes into the file, "-" for standard output: as a dump if that is a terminal, with offsets
// from `first` on.
void putOut(const std::string& name, std::span<const std::uint8_t> bytes, bool isPrivate,
            std::size_t first = 0);

}  // namespace tools
