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

platform::CryptoProviders* replacement = nullptr;

BOOL succeeded(DWORD error) {
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
    }
    return error == ERROR_SUCCESS ? TRUE : FALSE;
}

}  // namespace

namespace platform {

CryptoProviders& cryptoProviders() {
    static KernelRandom kernelRandom;
    return replacement != nullptr ? *replacement : kernelRandom;
}

void useCryptoProviders(CryptoProviders* providers) {
    replacement = providers;
}

}  // namespace platform

BOOL CryptAcquireContextA(HCRYPTPROV* context, LPCSTR, LPCSTR provider, DWORD type, DWORD flags) {
    return succeeded(platform::cryptoProviders().acquire(provider, type, flags, *context));
}

BOOL CryptGenRandom(HCRYPTPROV context, DWORD length, BYTE* buffer) {
    return succeeded(platform::cryptoProviders().generate(context, buffer, length));
}

BOOL CryptReleaseContext(HCRYPTPROV context, DWORD) {
    return succeeded(platform::cryptoProviders().release(context));
}
