#pragma once

#include <cstdint>
#include <string_view>

namespace platform {

// The file of the program's trace. Others can write to its directory, so the file is opened only if
// it is a regular one of this user with no second name: never a link, and never something that
// another program waits on. It is then for its owner alone.
//
// No failure is reported, none ends the program, and the object needs no destructor: it is closed
// by `close` alone. Calls do not overlap.
class TraceFile {
  public:
    constexpr TraceFile() = default;

    // Open the file for writing, made if it is missing: emptied, or so that each write goes to its
    // end. What fails leaves the object closed and the file as it was.
    void openEmptied(const char* path);
    void openAppending(const char* path);

    // Writes it all at once. A write that fails closes the file; what comes then is dropped.
    void write(std::string_view text);

    // Where the last write ended, in bytes; -1 if closed.
    std::int64_t position() const;

    void close();

  private:
    static constexpr int none = -1;

    int descriptor_ = none;
};

// Makes the `count` bytes before `position` the whole of the file at `path`, which is opened as
// TraceFile opens it. Bytes that cannot be read become zeros. `count` is at most half of
// `position`.
void keepTail(const char* path, std::int64_t position, std::int64_t count);

}  // namespace platform
