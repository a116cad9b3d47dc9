#pragma once

#include <array>
#include <cstdint>

#include "token/image/object.h"

namespace token {

using Block = std::array<std::uint8_t, 8>;

// DESX of one block: the key's first 8 bytes are the DES key, any value of them; its last 8 are
// XORed in before and after the cipher.
Block desx(const KeyValue& key, bool encrypt, const Block& block);

}  // namespace token
