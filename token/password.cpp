#include "token/password.h"

#include <bit>

#include "token/fault.h"
#include "token/gcrypt.h"

namespace token {
namespace {

constexpr std::uint32_t standardN = 1U << 15;
constexpr std::uint32_t standardP = 1;
constexpr std::uint32_t largestN = 1U << 20;  // 1 GiB: what a damaged record may cost at most
constexpr std::uint32_t largestP = 16;
constexpr std::size_t saltLength = 16;
constexpr std::size_t verifierLength = 32;

Buffer derive(Bytes password, std::uint32_t costN, std::uint32_t costP, Bytes salt) {
    useGcrypt();
    // The library takes no null for an empty password.
    static constexpr std::uint8_t nothing = 0;
    Buffer result(verifierLength);
    const gcry_error_t error = gcry_kdf_derive(
        password.empty() ? &nothing : password.data(), password.size(), GCRY_KDF_SCRYPT,
        static_cast<int>(costN), salt.data(), salt.size(), costP, result.size(), result.data());
    if (error != 0) {
        throw Fault(std::string("the password cannot be derived: ") + gcry_strerror(error));
    }
    return result;
}

bool isSound(const PasswordRecord& record) {
    return std::has_single_bit(record.costN) && record.costN > 1 && record.costN <= largestN &&
           record.costP > 0 && record.costP <= largestP && record.salt.size() == saltLength &&
           record.verifier.size() == verifierLength;
}

}  // namespace

PasswordRecord recordOf(Bytes password) {
    useGcrypt();
    PasswordRecord record{standardN, standardP, Buffer(saltLength), {}};
    gcry_create_nonce(record.salt.data(), record.salt.size());
    record.verifier = derive(password, record.costN, record.costP, record.salt);
    return record;
}

bool opens(const PasswordRecord& record, Bytes password) {
    if (!isSound(record)) {
        throw Fault("the password's record is damaged");
    }
    const Buffer verifier = derive(password, record.costN, record.costP, record.salt);
    std::uint8_t difference = 0;
    for (std::size_t i = 0; i < verifierLength; ++i) {
        difference = static_cast<std::uint8_t>(difference | (verifier[i] ^ record.verifier[i]));
    }
    return difference == 0;
}

}  // namespace token
