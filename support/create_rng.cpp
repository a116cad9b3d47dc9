#include "support/create_rng.h"

#include "platform/win32.h"
#include "support/csp_rng.h"
#include "support/software_rng.h"

namespace {

struct Provider {
    LPCSTR name;
    DWORD type;
    DWORD flags;
    u32 kind;
};

// Best first.
constexpr Provider providers[] = {
    {"Intel Hardware Cryptographic Service Provider", PROV_INTEL_SEC, 0, Rng::hardwareProvider},
    {"Microsoft Strong Cryptographic Provider", PROV_RSA_FULL, CRYPT_VERIFYCONTEXT,
     Rng::strongProvider},
    {"Microsoft Enhanced Cryptographic Provider v1.0", PROV_RSA_FULL, CRYPT_VERIFYCONTEXT,
     Rng::strongProvider},
    {"Microsoft Base Cryptographic Provider v1.0", PROV_RSA_FULL, CRYPT_VERIFYCONTEXT,
     Rng::baseProvider},
};

// Opens the provider and proves that it works; null if it is not there or does not.
std::unique_ptr<Rng> open(const Provider& provider) {
    std::unique_ptr<Rng> rng;
    HCRYPTPROV context = 0;
    if (CryptAcquireContextA(&context, nullptr, provider.name, provider.type, provider.flags) !=
        FALSE) {
        rng = std::make_unique<CspRng>(context, provider.kind);
        u8 probe[4];
        if (CryptGenRandom(context, sizeof probe, probe) == FALSE) {
            rng.reset();
        }
    }
    return rng;
}

}  // namespace

std::unique_ptr<Rng> createRng() {
    std::unique_ptr<Rng> rng;
    for (const Provider& provider : providers) {
        rng = open(provider);
        if (rng != nullptr) {
            break;
        }
    }
    if (rng == nullptr) {
        rng = std::make_unique<SoftwareRng>();
    }
    return rng;
}
