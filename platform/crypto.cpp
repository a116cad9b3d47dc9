#include "platform/crypto_providers.h"
#include "platform/win32.h"

namespace {

platform::CryptoProviders* replacement = nullptr;

BOOL succeeded(std::uint32_t error) {
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
    }
    return error == ERROR_SUCCESS ? TRUE : FALSE;
}

}  // namespace

namespace platform {

CryptoProviders& cryptoProviders() {
    return replacement != nullptr ? *replacement : systemCryptoProviders();
}

void useCryptoProviders(CryptoProviders* providers) {
    replacement = providers;
}

}  // namespace platform

BOOL CryptAcquireContextA(HCRYPTPROV* context, LPCSTR, LPCSTR provider, DWORD type, DWORD flags) {
    std::uint64_t acquired = 0;
    const std::uint32_t error =
        platform::cryptoProviders().acquire(provider, type, flags, acquired);
    if (error == ERROR_SUCCESS) {
        *context = acquired;
    }
    return succeeded(error);
}

BOOL CryptGenRandom(HCRYPTPROV context, DWORD length, BYTE* buffer) {
    return succeeded(platform::cryptoProviders().generate(context, buffer, length));
}

BOOL CryptReleaseContext(HCRYPTPROV context, DWORD) {
    return succeeded(platform::cryptoProviders().release(context));
}
