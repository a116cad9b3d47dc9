#pragma once

#include <cstdint>
#include <optional>

#include "token/base/bytes.h"
#include "token/base/secret.h"

namespace token {

// The password of an image: its secret key, wrapped under scrypt of the password. Salt and cost are
// kept with it, so that the cost can be raised from one password to the next.
struct PasswordRecord {
    std::uint32_t costN = 0;  // scrypt's N, a power of two; r is 8
    std::uint32_t costP = 0;
    Buffer salt;
    Buffer wrappedKey;
    std::uint32_t failures = 0;  // failed logins since the last right one
};

// Whether cost and salt can be those of a record.
bool hasKnownForm(const PasswordRecord& record);

WipedKey freshKey();

// A record for a new password, with a fresh salt, that wraps the key for the image with this serial
// number. Costs what is standard today, or what `old` cost if that is more: about 0.1 s.
PasswordRecord wrap(const SecretKey& key, Bytes password, Bytes serial,
                    const PasswordRecord& old = {});

// The key, if the password is the record's. Throws Fault on a record of unknown form.
std::optional<WipedKey> unwrap(const PasswordRecord& record, Bytes password, Bytes serial);

}  // namespace token
