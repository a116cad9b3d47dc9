#include "token/rules/desx.h"

#include <algorithm>

#include "token/base/fault.h"
#include "token/base/gcrypt.h"

namespace token {
namespace {

Cipher desCipher(const KeyValue& key) {
    useGcrypt();
    gcry_cipher_hd_t handle = nullptr;
    if (gcry_cipher_open(&handle, GCRY_CIPHER_DES, GCRY_CIPHER_MODE_ECB, 0) != 0) {
        throw Fault("the DES cipher cannot be opened");
    }
    Cipher cipher(handle);
    // A weak key is reported as an error and set all the same when it is allowed.
    gcry_cipher_ctl(handle, GCRYCTL_SET_ALLOW_WEAK_KEY, nullptr, 1);
    const gcry_error_t error = gcry_cipher_setkey(handle, key.data(), 8);
    if (error != 0 && gcry_err_code(error) != GPG_ERR_WEAK_KEY) {
        throw Fault("the DES key cannot be set");
    }
    return cipher;
}

void whiten(Block& block, const KeyValue& key) {
    std::transform(block.begin(), block.end(), key.begin() + 8, block.begin(),
                   [](std::uint8_t a, std::uint8_t b) { return static_cast<std::uint8_t>(a ^ b); });
}

}  // namespace

Block desx(const KeyValue& key, bool encrypt, const Block& block) {
    const Cipher cipher = desCipher(key);
    Block result = block;
    whiten(result, key);
    const gcry_error_t error =
        encrypt ? gcry_cipher_encrypt(cipher.get(), result.data(), result.size(), nullptr, 0)
                : gcry_cipher_decrypt(cipher.get(), result.data(), result.size(), nullptr, 0);
    if (error != 0) {
        throw Fault("the DES cipher failed");
    }
    whiten(result, key);
    return result;
}

}  // namespace token
