#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace token {

// A file descriptor, closed with its owner. Never one of the three standard ones, which a program
// that was started without them would write its messages to.
class File {
  public:
    explicit File(int descriptor) : descriptor_(descriptor) {
        if (isOpen() && descriptor_ <= STDERR_FILENO) {
            descriptor_ = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
            close(descriptor);
        }
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() {
        if (isOpen()) {
            close(descriptor_);
        }
    }

    bool isOpen() const { return descriptor_ >= 0; }
    int descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

}  // namespace token
