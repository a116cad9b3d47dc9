#pragma once

#include <utility>

namespace platform {

constexpr int standardInput = 0;
constexpr int standardOutput = 1;
constexpr int standardError = 2;

// Owns a descriptor; a negative one is none.
class Descriptor {
  public:
    explicit Descriptor(int descriptor = -1) : descriptor_(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~Descriptor() { close(); }

    int get() const { return descriptor_; }
    bool isOpen() const { return descriptor_ >= 0; }
    void close();
    // Gives it away.
    int release() { return std::exchange(descriptor_, -1); }

  private:
    int descriptor_;
};

}  // namespace platform
