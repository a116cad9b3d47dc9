#include "apdulib/apdu_key.h"

#include <algorithm>
#include <iterator>

ApduWriteKey::ApduWriteKey() : Apdu(0xD6, sizeof(Data), 0) {}

ApduWriteKey::ApduWriteKey(const u8* key) : ApduWriteKey() {
    std::copy_n(key, std::size(data()->key), data()->key);
}

ApduDesx::ApduDesx(u8 mode, const u8* block) : Apdu(instruction, sizeof(Data), sizeof(Reply)) {
    data()->mode = mode;
    std::copy_n(block, std::size(data()->block), data()->block);
}
