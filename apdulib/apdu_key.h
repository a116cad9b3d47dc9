#pragma once

#include "apdulib/apdu.h"

// The commands on the selected DESX key.

class ApduWriteKey : public Apdu {
  public:
    struct Data {
        u8 key[16];
    };

    // Leaves the key's bytes for the caller to copy in.
    ApduWriteKey();
    explicit ApduWriteKey(const u8* key);

    Data* data() { return reinterpret_cast<Data*>(Apdu::data()); }
};

// Runs one block through the key.
class ApduDesx : public Apdu {
  public:
    static constexpr u8 instruction = 0xD8;

    static constexpr u8 decrypt = 0;
    static constexpr u8 encrypt = 1;

    struct Data {
        u8 mode;
        u8 block[8];
    };
    struct Reply {
        u8 block[8];
    };

    ApduDesx(u8 mode, const u8* block);

    Data* data() { return reinterpret_cast<Data*>(Apdu::data()); }
    const Reply* reply() const { return reinterpret_cast<const Reply*>(Apdu::reply()); }
};

static_assert(sizeof(ApduWriteKey::Data) == 16);
static_assert(sizeof(ApduDesx::Data) == 9 && sizeof(ApduDesx::Reply) == 8);
