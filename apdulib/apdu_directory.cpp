#include "apdulib/apdu_directory.h"

#include <algorithm>

namespace {

constexpr u32 idsWithoutLimit = 1024;

}  // namespace

ApduSelectFile::ApduSelectFile(u8 mode, u16 fileId) : ApduSelectFile(mode, &fileId, 1) {}

ApduSelectFile::ApduSelectFile(u8 mode, const u16* fileIds, u32 count)
    : Apdu(0xA4, 2 * count + 2, sizeof(Reply)) {
    *data() = {mode, static_cast<u8>(count)};
    if (fileIds != nullptr) {
        std::copy_n(fileIds, count, this->fileIds());
    }
}

ApduListDirectory::ApduListDirectory(u8 selector, u32 limit)
    : Apdu(0xD2, sizeof(Data), 2 * (limit == 0 ? idsWithoutLimit : limit) + 2) {
    *data() = {static_cast<u16>(limit), selector};
}
