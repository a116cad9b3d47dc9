#include "platform/crypto_providers.h"
#include "platform/windows/system_library.h"

namespace platform {
namespace {

// The providers of the system's CryptoAPI, whose names the program's own objects have.
class SystemProviders : public CryptoProviders {
  public:
    SystemProviders() {
        const HMODULE library = systemLibrary("advapi32.dll");
        take(library, "CryptAcquireContextA", acquire_);
        take(library, "CryptGenRandom", generate_);
        take(library, "CryptReleaseContext", release_);
    }

    std::uint32_t acquire(const char* provider, std::uint32_t type, std::uint32_t flags,
                          std::uint64_t& context) override {
        if (acquire_ == nullptr || generate_ == nullptr || release_ == nullptr) {
            return ERROR_PROC_NOT_FOUND;
        }
        HCRYPTPROV acquired = 0;
        const std::uint32_t error = errorOf(acquire_(&acquired, nullptr, provider, type, flags));
        if (error == ERROR_SUCCESS) {
            context = acquired;
        }
        return error;
    }

    std::uint32_t generate(std::uint64_t context, std::uint8_t* buffer,
                           std::uint32_t length) override {
        return errorOf(generate_(context, length, buffer));
    }

    std::uint32_t release(std::uint64_t context) override { return errorOf(release_(context, 0)); }

  private:
    static std::uint32_t errorOf(BOOL succeeded) {
        return succeeded != FALSE ? ERROR_SUCCESS : GetLastError();
    }

    decltype(&CryptAcquireContextA) acquire_;
    decltype(&CryptGenRandom) generate_;
    decltype(&CryptReleaseContext) release_;
};

}  // namespace

CryptoProviders& systemCryptoProviders() {
    static SystemProviders providers;
    return providers;
}

}  // namespace platform
