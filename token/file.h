#pragma once

#include <unistd.h>

#include <utility>

namespace token {

// A file descriptor, closed with its owner.
class File {
  public:
    explicit File(int descriptor) : descriptor_(descriptor) {}
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
