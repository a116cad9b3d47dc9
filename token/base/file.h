#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

namespace token {

// A file descriptor, closed with its owner. Never one of the three standard ones, which a program
// that was started without them would write its messages to.
class File {
  public:
    File() = default;
    explicit File(int descriptor) : descriptor_(descriptor < 0 ? none : descriptor) {
        if (isOpen() && descriptor_ <= STDERR_FILENO) {
            descriptor_ = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
            close(descriptor);
        }
    }
    File(File&& other) noexcept : descriptor_(std::exchange(other.descriptor_, none)) {}
    File& operator=(File&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~File() {
        if (isOpen()) {
            close(descriptor_);
        }
    }

    bool isOpen() const { return descriptor_ != none; }
    int descriptor() const { return descriptor_; }
    // Leaves its closing to the caller; -1 where it is not open.
    int release() { return std::exchange(descriptor_, none); }

  private:
    static constexpr int none = -1;

    int descriptor_ = none;
};

// Which file it is, by whatever name.
struct FileIdentity {
    std::uint64_t device;
    std::uint64_t file;

    bool operator==(const FileIdentity&) const = default;
};

}  // namespace token
