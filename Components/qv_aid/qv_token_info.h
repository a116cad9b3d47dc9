#pragma once

#include <array>

#include "include/basic_types.h"

class ApduTalker;

// What the token tells of itself.
struct QVTokenInfo {
    u8 colour = 0;
    u16 packages = 0;
    std::array<u8, 8> serial{};
    u32 bytesUsed = 0;
    u32 bytesTotal = 0;
};

// Asks the token. Needs no selection, and the card lock as any frame does.
// result::communicationError: the reply is too short. `info` is as it was after a failure.
u32 readTokenInfo(ApduTalker& talker, QVTokenInfo& info);
