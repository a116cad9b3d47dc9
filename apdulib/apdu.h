#pragma once

#include <memory>

#include "apdulib/apdu_talker.h"
#include "include/basic_types.h"

// One command to the token and its reply: the header 00 INS 00 00 00 LcHigh LcLow, then the data
// field; back come the reply data and the status word, low byte first. The command classes add the
// data field's layout. A frame lives on the stack of one exchange and is sent once.
class Apdu {
  public:
    // Lengths in bytes: `dataLength` of the data field (at most 0xFFFFFFF8, of which Lc tells the
    // low 16 bits), `replyDataLength` of the most reply data that can be taken (at most 0xFFFFFFFD;
    // it is not sent). Writes the header; the data field is left as allocated. Throws
    // std::bad_alloc, and nothing else.
    Apdu(u8 ins, u32 dataLength, u32 replyDataLength);
    virtual ~Apdu() = default;

    Apdu(const Apdu&) = delete;
    Apdu& operator=(const Apdu&) = delete;

    u8* data() { return command.get() + headerLength; }
    const u8* reply() const { return replyBuffer.get(); }

    // Gives the talker's result unchanged, but result::communicationError for a success with fewer
    // than 2 bytes or with more than there was room for. 0 means that a status word is there; on
    // any failure the reply is not to be read.
    u32 send(ApduTalker& talker);

    // How many bytes of reply data arrived, without the status word. For after `send`.
    u32 replyDataLength() const;

    // The status word that arrived, 0 if none did. For after `send`.
    u16 statusWord() const;

  private:
    static constexpr u32 headerLength = 7;
    static constexpr u32 statusLength = 2;

    std::unique_ptr<u8[]> replyBuffer;
    std::unique_ptr<u8[]> command;
    u32 replyLength;  // the room for the reply; from the exchange on, what arrived (0 or from 2 on)
    u32 commandLength;
};

// Sends the frame: the one call by which services reach the token. The caller holds the card lock.
// 0: status word 0x9000; how much reply data arrived is for the caller to ask before reading it.
// 0xE006xxxx: the token answered with status word xxxx. result::communicationError: no status word,
// or more bytes than there was room for. Anything else is the talker's own failure code. The reply
// is not to be read unless the result is 0.
u32 transmitChecked(ApduTalker& talker, Apdu& frame);
