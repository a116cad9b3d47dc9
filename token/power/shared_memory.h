#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace token {

// A region of memory that processes share. It is gone with the last of them, however that ends.
class SharedMemory {
  public:
    // A new, zero-filled region, which has the name until it is ready: one that was ended before is
    // found by it. Nothing if another region has the name. Throws Fault.
    static std::optional<SharedMemory> make(std::int32_t name, std::size_t bytes);
    // The region of this number; an empty object if it is gone, or not of this size. `owner` is
    // whose region the superuser takes beside his own; all others take their own only.
    static SharedMemory attach(std::int32_t id, std::size_t bytes, std::uint32_t owner);

    SharedMemory(SharedMemory&& other) noexcept
        : id_(other.id_),
          address_(std::exchange(other.address_, nullptr)),
          isForbidden_(other.isForbidden_) {}
    SharedMemory& operator=(SharedMemory&&) = delete;
    ~SharedMemory();

    std::int32_t id() const { return id_; }
    void* address() const { return address_; }  // null: empty
    // Empty, since it is none that this user takes.
    bool isForbidden() const { return isForbidden_; }

  private:
    SharedMemory() = default;

    std::int32_t id_ = -1;
    void* address_ = nullptr;
    bool isForbidden_ = false;
};

}  // namespace token
