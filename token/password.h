#pragma once

#include <cstdint>
#include <optional>

#include "token/bytes.h"

namespace token {

// What an image keeps in place of the password: scrypt's result over it, with the salt and the cost
// that it was made with, so that the cost can be raised from one password to the next.
struct PasswordRecord {
    std::uint32_t costN = 0;  // scrypt's N, a power of two; r is 8
    std::uint32_t costP = 0;
    Buffer salt;
    Buffer verifier;
};

// A record for a new password, with a fresh salt and today's cost. Takes about 0.1 s.
PasswordRecord recordOf(Bytes password);

// True if the password is the record's. Compares in constant time. Throws Fault on a record that
// cannot be one: a cost out of bounds, a salt or verifier of another length.
bool opens(const PasswordRecord& record, Bytes password);

}  // namespace token
