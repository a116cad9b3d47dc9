#include "support/csp_rng.h"

#include "support/exception.h"

CspRng::CspRng(HCRYPTPROV openProvider, u32 sourceKind)
    : provider(openProvider), kind(sourceKind) {}

CspRng::~CspRng() {
    CryptReleaseContext(provider, 0);
}

void CspRng::seed(const std::vector<u8>&) {}

void CspRng::generate(u8* buffer, u32 length) {
    if (CryptGenRandom(provider, length, buffer) == FALSE) {
        throw VDW::RngException(static_cast<int>(GetLastError()), "::CryptGenRandom() failed");
    }
}

void CspRng::generate(std::vector<u8>& output, u32 length) {
    Rng::generate(output, length);
}
