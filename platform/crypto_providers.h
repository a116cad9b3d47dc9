#pragma once

#include <cstdint>

namespace platform {

// The providers of random bytes, to which the CryptoAPI names forward. Every call gives 0, or the
// error number that GetLastError then tells. Any thread may call at any time.
class CryptoProviders {
  public:
    virtual ~CryptoProviders() = default;

    virtual std::uint32_t acquire(const char* provider, std::uint32_t type, std::uint32_t flags,
                                  std::uint64_t& context) = 0;
    virtual std::uint32_t generate(std::uint64_t context, std::uint8_t* buffer,
                                   std::uint32_t length) = 0;
    virtual std::uint32_t release(std::uint64_t context) = 0;
};

// The system's own.
CryptoProviders& systemCryptoProviders();

// Those in use: the system's, until others are put in their place.
CryptoProviders& cryptoProviders();

// Puts others in their place, null for the system's. For programs that drive the random source
// on providers of their own; no call may be in flight, no context of the others open.
void useCryptoProviders(CryptoProviders* providers);

}  // namespace platform
