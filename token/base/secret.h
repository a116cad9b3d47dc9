#pragma once

#include <array>
#include <cstdint>
#include <cstring>

namespace token {

// The key under which an image's private content is sealed.
using SecretKey = std::array<std::uint8_t, 32>;

// Overwrites what must not stay in memory.
template <typename Secret>
void wipe(Secret& secret) {
    explicit_bzero(secret.data(), secret.size() * sizeof(*secret.data()));
}

// Wipes a secret at the end of its scope, however that is left.
template <typename Secret>
class Wiping {
  public:
    explicit Wiping(Secret& secret) : secret_(secret) {}
    Wiping(const Wiping&) = delete;
    Wiping& operator=(const Wiping&) = delete;
    ~Wiping() { wipe(secret_); }

  private:
    Secret& secret_;
};

// A key on its way, which leaves nothing behind where it was.
struct PassingKey : SecretKey {
    PassingKey() : SecretKey{} {}
    explicit PassingKey(const SecretKey& key) : SecretKey(key) {}
    PassingKey(const PassingKey&) = default;
    PassingKey& operator=(const PassingKey&) = default;
    ~PassingKey() { wipe(*this); }
};

}  // namespace token
