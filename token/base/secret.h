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
class ScopedWipe {
  public:
    explicit ScopedWipe(Secret& secret) : secret_(secret) {}
    ScopedWipe(const ScopedWipe&) = delete;
    ScopedWipe& operator=(const ScopedWipe&) = delete;
    ~ScopedWipe() { wipe(secret_); }

  private:
    Secret& secret_;
};

// A copy of a key, wiped when it goes.
struct WipedKey : SecretKey {
    WipedKey() : SecretKey{} {}
    explicit WipedKey(const SecretKey& key) : SecretKey(key) {}
    WipedKey(const WipedKey&) = default;
    WipedKey& operator=(const WipedKey&) = default;
    ~WipedKey() { wipe(*this); }
};

}  // namespace token
