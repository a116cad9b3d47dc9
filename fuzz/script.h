#pragma once

#include "tests/toolbox/token_talker.h"

// Answers as a fuzzer's input tells it. Where there is no more input, all is zeros.
class Script : public ApduTalker {
  public:
    Script(const u8* data, std::size_t size) : rest_(data, data + size) {}

    u8 next() { return take(1).at(0); }
    Bytes take(std::size_t length) {
        rest_.resize(std::max(rest_.size(), length));
        Bytes taken(rest_.begin(), rest_.begin() + static_cast<long>(length));
        rest_.erase(rest_.begin(), rest_.begin() + static_cast<long>(length));
        return taken;
    }

    // One byte tells of a failure, how many bytes follow, and whether they are the whole reply or
    // the start of a good one that fills the room.
    u32 transmit(const u8*, u32, u8* receive, u32* receiveLength) override {
        const u32 room = *receiveLength;
        const u8 kind = next();
        Bytes bytes = take(kind & 0x3F);
        if ((kind & 0x40) == 0) {
            bytes.resize(room - 2);
            append16(bytes, 0x9000);
        }
        std::copy_n(bytes.begin(), std::min<std::size_t>(bytes.size(), room), receive);
        *receiveLength = static_cast<u32>(bytes.size());
        return kind < 0x80 ? 0 : 0x80100000 + next();
    }

  private:
    Bytes rest_;
};
