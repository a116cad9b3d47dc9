#pragma once

#include <optional>
#include <string>

#include "token/base/bytes.h"
#include "token/base/secret.h"

namespace token {

// An owner's ways to an image's key, powered or not, and the lifting of a block. `path` is the real
// path.
// All throw Fault.

// The key, by a login that counts as others do and logs nobody in. A Fault says why it was refused.
WipedKey keyByPassword(const std::string& path, Bytes password);

// The key of a token that is powered and logged in. Powers nothing.
std::optional<WipedKey> keyOfPowered(const std::string& path);

// Sets the count of failed logins to 0.
void unblock(const std::string& path);

}  // namespace token
