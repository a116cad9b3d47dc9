#pragma once

#include "apdulib/apdu.h"
#include "include/little_endian.h"

// The commands on files and, for creation and deletion, on any object: they act on the selection.

// Makes an object in the selected directory.
class ApduCreateFile : public Apdu {
  public:
    struct Data {
        u8 type;
        u8 attribute;
        ksigil::Le16 size;  // bytes
        ksigil::Le16 fileId;
    };

    ApduCreateFile(u8 type, u8 attribute, u16 size, u16 fileId);

    Data* data() { return reinterpret_cast<Data*>(Apdu::data()); }
};

class ApduDeleteFile : public Apdu {
  public:
    struct Data {
        u8 type;
    };

    // `type`: the selected object's, as its selection reported it.
    explicit ApduDeleteFile(u8 type);

    Data* data() { return reinterpret_cast<Data*>(Apdu::data()); }
};

namespace ksigil {

// Where in the selected file, in bytes.
struct ApduRange {
    Le16 offset;
    Le16 length;
};

}  // namespace ksigil

// The reply data are the file's bytes.
class ApduReadBinary : public Apdu {
  public:
    static constexpr u8 instruction = 0xB0;

    using Data = ksigil::ApduRange;

    // Room for `length` bytes of reply data; the frame asks for the low 16 bits of it.
    ApduReadBinary(u16 offset, u32 length);

    Data* data() { return reinterpret_cast<Data*>(Apdu::data()); }
};

class ApduWriteBinary : public Apdu {
  public:
    static constexpr u8 instruction = 0xD0;

    using Data = ksigil::ApduRange;

    // Writes the range; the caller copies `length` bytes to `payload()`.
    ApduWriteBinary(u16 offset, u32 length);
    ApduWriteBinary(u16 offset, const u8* bytes, u32 length);

    Data* data() { return reinterpret_cast<Data*>(Apdu::data()); }
    u8* payload() { return Apdu::data() + sizeof(Data); }
};

static_assert(sizeof(ApduCreateFile::Data) == 6 && alignof(ApduCreateFile::Data) == 1);
static_assert(sizeof(ApduDeleteFile::Data) == 1);
static_assert(sizeof(ksigil::ApduRange) == 4 && alignof(ksigil::ApduRange) == 1);
