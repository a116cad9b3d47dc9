#pragma once

#include "platform/win32.h"
#include "support/rng.h"

// The random bytes of a cryptographic provider of the system.
class CspRng final : public Rng {
  public:
    // Owns `openProvider`, a context that is open, from here on.
    CspRng(HCRYPTPROV openProvider, u32 sourceKind);
    ~CspRng() override;

    CspRng(const CspRng&) = delete;
    CspRng& operator=(const CspRng&) = delete;

    // Does nothing: the provider needs no material.
    void seed(const std::vector<u8>& material) override;

    u32 sourceKind() const override { return kind; }

    // Throws VDW::RngException, "::CryptGenRandom() failed", with GetLastError's number.
    void generate(u8* buffer, u32 length) override;
    void generate(std::vector<u8>& output, u32 length) override;

  private:
    HCRYPTPROV provider;
    u32 kind;
};
