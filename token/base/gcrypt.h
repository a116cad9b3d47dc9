#pragma once

#include <gcrypt.h>

#include <memory>

namespace token {

// Makes libgcrypt ready, once for the process; anyone may have done so before.
inline void useGcrypt() {
    static const bool ready = [] {
        if (gcry_control(GCRYCTL_INITIALIZATION_FINISHED_P) == 0) {
            gcry_check_version(nullptr);
            gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
            gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
        }
        return true;
    }();
    static_cast<void>(ready);
}

struct CipherCloser {
    void operator()(gcry_cipher_hd_t cipher) const { gcry_cipher_close(cipher); }
};
using Cipher = std::unique_ptr<gcry_cipher_handle, CipherCloser>;

}  // namespace token
