#pragma once

#include "include/basic_types.h"

// The channel through which every frame reaches the token.
class ApduTalker {
  public:
    virtual ~ApduTalker() = default;

    // Sends one whole command of `sendLength` bytes and waits for its reply. `receiveLength` in:
    // the room at `receiveBuffer`, in bytes; out: the number of bytes that came back, status word
    // included. Gives 0, or the channel's own failure code; `receiveBuffer` is then not to be read.
    // The caller holds the card lock across all frames that depend on each other.
    virtual u32 transmit(const u8* sendBuffer, u32 sendLength, u8* receiveBuffer,
                         u32* receiveLength) = 0;
};
