#pragma once

#include <optional>

#include "token/base/bytes.h"
#include "token/base/gcrypt.h"
#include "token/base/secret.h"

namespace token {

// AES-256-GCM under one key. Sealed bytes are a nonce, drawn at random for each sealing, the
// encrypted bytes and the tag. All throw Fault where the cipher fails. One thread at a time.
class Sealer {
  public:
    static constexpr std::size_t nonceLength = 12;
    static constexpr std::size_t tagLength = 16;
    static constexpr std::size_t added = nonceLength + tagLength;  // what sealing adds

    explicit Sealer(const SecretKey& key);

    // `place` tells what is sealed and where it belongs; it is not kept, and only the same place
    // opens the seal again.
    Buffer seal(Bytes place, Bytes plain);

    // Nothing if the bytes were not sealed so, under another key, or for another place.
    std::optional<Buffer> unseal(Bytes place, Bytes sealed);

  private:
    void prepare(Bytes nonce, Bytes place);

    Cipher cipher_;
};

}  // namespace token
