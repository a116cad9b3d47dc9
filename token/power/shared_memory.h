#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

namespace token {

// A region of memory that processes share. It is gone with the last of them, however that ends.
class SharedMemory {
  public:
    // A new, zero-filled region. Throws Fault.
    static SharedMemory make(std::size_t bytes);
    // The region of this number; an empty object if it is gone, or not of this size, or another
    // user's.
    static SharedMemory attach(std::int32_t id, std::size_t bytes);

    SharedMemory(SharedMemory&& other) noexcept
        : id_(other.id_), address_(std::exchange(other.address_, nullptr)) {}
    SharedMemory& operator=(SharedMemory&&) = delete;
    ~SharedMemory();

    std::int32_t id() const { return id_; }
    void* address() const { return address_; }  // null: empty

  private:
    SharedMemory(std::int32_t id, void* address) : id_(id), address_(address) {}

    std::int32_t id_;
    void* address_;
};

}  // namespace token
