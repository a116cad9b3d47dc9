#include "apdulib/apdu_file.h"

#include <algorithm>

ApduCreateFile::ApduCreateFile(u8 type, u8 attribute, u16 size, u16 fileId)
    : Apdu(0xE0, sizeof(Data), 0) {
    *data() = {type, attribute, size, fileId};
}

ApduDeleteFile::ApduDeleteFile(u8 type) : Apdu(0xE2, sizeof(Data), 0) {
    data()->type = type;
}

ApduReadBinary::ApduReadBinary(u16 offset, u32 length) : Apdu(instruction, sizeof(Data), length) {
    *data() = {offset, static_cast<u16>(length)};
}

ApduWriteBinary::ApduWriteBinary(u16 offset, u32 length) : Apdu(instruction, length + 4, 0) {
    *data() = {offset, static_cast<u16>(length)};
}

ApduWriteBinary::ApduWriteBinary(u16 offset, const u8* bytes, u32 length)
    : ApduWriteBinary(offset, length) {
    std::copy_n(bytes, length, payload());
}
