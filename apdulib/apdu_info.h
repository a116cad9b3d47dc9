#pragma once

#include "apdulib/apdu.h"

// The commands by which the token describes itself. Neither needs a selection; their replies are
// plain bytes here.

class ApduGetInfo : public Apdu {
  public:
    struct Data {
        u8 unused;  // always 0
    };
    struct Reply {
        u8 bytes[19];
    };

    ApduGetInfo();

    Data* data() { return reinterpret_cast<Data*>(Apdu::data()); }
    const Reply* reply() const { return reinterpret_cast<const Reply*>(Apdu::reply()); }
};

class ApduGetWord : public Apdu {
  public:
    struct Data {
        u8 unused;  // always 0
    };
    struct Reply {
        u8 bytes[2];
    };

    ApduGetWord();

    Data* data() { return reinterpret_cast<Data*>(Apdu::data()); }
    const Reply* reply() const { return reinterpret_cast<const Reply*>(Apdu::reply()); }
};

static_assert(sizeof(ApduGetInfo::Data) == 1 && sizeof(ApduGetInfo::Reply) == 19);
static_assert(sizeof(ApduGetWord::Data) == 1 && sizeof(ApduGetWord::Reply) == 2);
