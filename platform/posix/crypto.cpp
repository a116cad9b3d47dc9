#include <sys/random.h>

#include <cerrno>
#include <cstring>

#include "platform/crypto_providers.h"
#include "platform/posix/windows_names.h"

namespace {

// The kernel gives fewer bytes at once than may be asked for, and fewer still to one it interrupts.
bool fill(BYTE* buffer, DWORD length) {
    DWORD filled = 0;
    while (filled < length) {
        const ssize_t given = getrandom(buffer + filled, length - filled, 0);
        if (given > 0) {
            filled += static_cast<DWORD>(given);
        } else if (given == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

// The kernel's random bytes as the one provider.
class KernelRandom : public platform::CryptoProviders {
  public:
    DWORD acquire(LPCSTR provider, DWORD type, DWORD flags, HCRYPTPROV& context) override {
        DWORD error = NTE_KEYSET_NOT_DEF;
        if (std::strcmp(provider, "Microsoft Strong Cryptographic Provider") == 0 &&
            type == PROV_RSA_FULL && flags == CRYPT_VERIFYCONTEXT) {
            context = onlyContext;
            error = ERROR_SUCCESS;
        }
        return error;
    }

    DWORD generate(HCRYPTPROV context, BYTE* buffer, DWORD length) override {
        DWORD error = ERROR_INVALID_HANDLE;
        if (context == onlyContext) {
            error = fill(buffer, length) ? ERROR_SUCCESS : NTE_FAIL;
        }
        return error;
    }

    DWORD release(HCRYPTPROV context) override {
        return context == onlyContext ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
    }

  private:
    static constexpr HCRYPTPROV onlyContext = 1;
};

}  // namespace

platform::CryptoProviders& platform::systemCryptoProviders() {
    static KernelRandom kernelRandom;
    return kernelRandom;
}
