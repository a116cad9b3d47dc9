#include "token/image/sealer.h"

#include "token/base/fault.h"
#include "token/base/gcrypt.h"

namespace token {
namespace {

void need(gcry_error_t error) {
    if (error != 0) {
        throw Fault(std::string("the cipher AES-256-GCM fails: ") + gcry_strerror(error));
    }
}

}  // namespace

Sealer::Sealer(const SecretKey& key) {
    useGcrypt();
    gcry_cipher_hd_t handle = nullptr;
    need(gcry_cipher_open(&handle, GCRY_CIPHER_AES256, GCRY_CIPHER_MODE_GCM, 0));
    cipher_.reset(handle);
    need(gcry_cipher_setkey(handle, key.data(), key.size()));
}

void Sealer::prepare(Bytes nonce, Bytes place) {
    need(gcry_cipher_setiv(cipher_.get(), nonce.data(), nonce.size()));
    need(gcry_cipher_authenticate(cipher_.get(), place.data(), place.size()));
}

Buffer Sealer::seal(Bytes place, Bytes plain) {
    Buffer sealed(added + plain.size());
    std::uint8_t* encrypted = sealed.data() + nonceLength;
    gcry_create_nonce(sealed.data(), nonceLength);
    prepare(Bytes(sealed).first(nonceLength), place);
    need(gcry_cipher_encrypt(cipher_.get(), encrypted, plain.size(), plain.data(), plain.size()));
    need(gcry_cipher_gettag(cipher_.get(), encrypted + plain.size(), tagLength));
    return sealed;
}

std::optional<Buffer> Sealer::unseal(Bytes place, Bytes sealed) {
    if (sealed.size() < added) {
        return std::nullopt;
    }
    const Bytes encrypted = sealed.subspan(nonceLength, sealed.size() - added);
    Buffer plain(encrypted.size());
    prepare(sealed.first(nonceLength), place);
    need(gcry_cipher_decrypt(cipher_.get(), plain.data(), plain.size(), encrypted.data(),
                             encrypted.size()));
    if (gcry_cipher_checktag(cipher_.get(), sealed.last(tagLength).data(), tagLength) != 0) {
        wipe(plain);
        return std::nullopt;
    }
    return plain;
}

}  // namespace token
