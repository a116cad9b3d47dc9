#include "token/image/password.h"

#include <algorithm>
#include <bit>

#include "token/base/fault.h"
#include "token/base/gcrypt.h"
#include "token/image/sealer.h"

namespace token {
namespace {

constexpr std::uint32_t standardN = 1U << 15;
constexpr std::uint32_t standardP = 1;
constexpr std::uint32_t largestCost = 1U << 20;  // N times p: what a damaged record may ask at most
constexpr std::size_t saltLength = 16;

WipedKey derive(const PasswordRecord& record, Bytes password) {
    if (!hasKnownForm(record)) {
        throw Fault("the password's record is damaged");
    }
    useGcrypt();
    // The library takes no null for an empty password.
    static constexpr std::uint8_t nothing = 0;
    WipedKey result;
    const gcry_error_t error =
        gcry_kdf_derive(password.empty() ? &nothing : password.data(), password.size(),
                        GCRY_KDF_SCRYPT, static_cast<int>(record.costN), record.salt.data(),
                        record.salt.size(), record.costP, result.size(), result.data());
    if (error != 0) {
        throw Fault(std::string("the password cannot be derived: ") + gcry_strerror(error));
    }
    return result;
}

// The wrapped key is sealed for its image alone.
Buffer placeOfWrappedKey(Bytes serial) {
    Buffer place(serial.begin(), serial.end());
    place.push_back('w');
    return place;
}

}  // namespace

bool hasKnownForm(const PasswordRecord& record) {
    return std::has_single_bit(record.costN) && record.costN > 1 && record.costP > 0 &&
           std::uint64_t{record.costN} * record.costP <= largestCost &&
           record.salt.size() == saltLength;
}

WipedKey freshKey() {
    useGcrypt();
    WipedKey key;
    gcry_randomize(key.data(), key.size(), GCRY_STRONG_RANDOM);
    return key;
}

PasswordRecord wrap(const SecretKey& key, Bytes password, Bytes serial, const PasswordRecord& old) {
    useGcrypt();
    PasswordRecord record{
        std::max(standardN, old.costN), std::max(standardP, old.costP), Buffer(saltLength), {}, 0};
    gcry_create_nonce(record.salt.data(), record.salt.size());
    const WipedKey wrapping = derive(record, password);
    record.wrappedKey = Sealer(wrapping).seal(placeOfWrappedKey(serial), key);
    return record;
}

std::optional<WipedKey> unwrap(const PasswordRecord& record, Bytes password, Bytes serial) {
    const WipedKey wrapping = derive(record, password);
    std::optional<Buffer> unwrapped =
        Sealer(wrapping).unseal(placeOfWrappedKey(serial), record.wrappedKey);
    WipedKey key;
    if (!unwrapped || unwrapped->size() != key.size()) {
        return std::nullopt;
    }
    const ScopedWipe scopedWipe(*unwrapped);
    std::copy(unwrapped->begin(), unwrapped->end(), key.begin());
    return key;
}

}  // namespace token
