#pragma once

#include "apdulib/apdu_talker.h"
#include "include/basic_types.h"
#include "include/ksigil.h"

namespace ksigil {

// The frames by which an operation's bytes move.
struct Transfer {
    u8 instruction = 0;
    u32 bytesPerFrame = 0;
    u64 total = 0;  // bytes; 0 for an operation that counts frames
};

struct Progress {
    ksigil_progress callback = nullptr;
    void* context = nullptr;
};

// Sends the frames of one operation through another talker and tells the thread's progress before
// each but the first. The callback may end the operation there. Behind that, and behind a lost
// connection, nothing more is sent: each further frame gives the same number.
class MeteredTalker final : public ApduTalker {
  public:
    // `talker` is not looked at before the first frame.
    MeteredTalker(ApduTalker* talker, const Transfer& transfer)
        : talker_(talker), transfer_(transfer) {}

    // Where the operation learns only at its first frame how many bytes it moves.
    void expect(u64 total) { transfer_.total = total; }

    u32 transmit(const u8* sendBuffer, u32 sendLength, u8* receiveBuffer,
                 u32* receiveLength) override;

  private:
    bool isEnded() const;

    ApduTalker* talker_;
    Transfer transfer_;
    u32 end_ = 0;  // the number that ended it
    u64 frames_ = 0;
    u64 transfers_ = 0;  // those of its instruction
};

}  // namespace ksigil
