#pragma once

#include "apdulib/apdu.h"
#include "include/little_endian.h"

// The commands that find objects: by their path, and by the directory that holds them.

class ApduSelectFile : public Apdu {
  public:
    struct Data {
        u8 mode;
        u8 count;
        // The ids follow, root first.
    };
    struct Reply {
        ksigil::Le16 notRead;
        u8 type;
        u8 attribute;
        ksigil::Le16 size;  // bytes
        ksigil::Le16 notReadEither;
    };

    // One level.
    ApduSelectFile(u8 mode, u16 fileId);
    // `count` ids, at most 0x7FFFFFFB, of which the frame tells the low 8 bits. If `fileIds` is
    // null the caller copies them to `fileIds()`.
    ApduSelectFile(u8 mode, const u16* fileIds, u32 count);

    Data* data() { return reinterpret_cast<Data*>(Apdu::data()); }
    ksigil::Le16* fileIds() { return reinterpret_cast<ksigil::Le16*>(Apdu::data() + sizeof(Data)); }
    const Reply* reply() const { return reinterpret_cast<const Reply*>(Apdu::reply()); }
};

// The children of the selected directory.
class ApduListDirectory : public Apdu {
  public:
    struct Data {
        ksigil::Le16 limit;
        u8 selector;
    };
    struct Reply {
        ksigil::Le16 count;
        // The ids follow, in the token's order.
    };

    // `limit` is the most ids that the token is to report, 1 to 65535; 0 goes out as none, and the
    // reply then has room for 1024.
    ApduListDirectory(u8 selector, u32 limit);

    Data* data() { return reinterpret_cast<Data*>(Apdu::data()); }
    const Reply* reply() const { return reinterpret_cast<const Reply*>(Apdu::reply()); }
    const ksigil::Le16* fileIds() const {
        return reinterpret_cast<const ksigil::Le16*>(Apdu::reply() + sizeof(Reply));
    }
};

static_assert(sizeof(ApduSelectFile::Data) == 2);
static_assert(sizeof(ApduSelectFile::Reply) == 8 && alignof(ApduSelectFile::Reply) == 1);
static_assert(sizeof(ApduListDirectory::Data) == 3 && alignof(ApduListDirectory::Data) == 1);
static_assert(sizeof(ApduListDirectory::Reply) == 2);
