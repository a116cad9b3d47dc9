#pragma once

#include "token/base/bytes.h"

namespace token {

// A command as it came over the wire:
//   CLA INS P1 P2 00 LcHigh LcLow, then Lc bytes of data.
struct Command {
    std::uint8_t cla = 0;
    std::uint8_t ins = 0;
    std::uint8_t p1 = 0;
    std::uint8_t p2 = 0;
    Bytes data;
};

// False unless the bytes are one whole command. `command.data` points into them.
bool parse(Bytes bytes, Command& command);

}  // namespace token
