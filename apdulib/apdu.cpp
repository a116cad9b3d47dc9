#include "apdulib/apdu.h"

#include "apdulib/status_message.h"
#include "include/little_endian.h"
#include "include/result_numbers.h"

using namespace ksigil;

Apdu::Apdu(u8 ins, u32 dataLength, u32 replyDataLength)
    : replyLength(replyDataLength + statusLength), commandLength(dataLength + headerLength) {
    command = std::make_unique_for_overwrite<u8[]>(commandLength);
    replyBuffer = std::make_unique_for_overwrite<u8[]>(replyLength);

    command[0] = 0;
    command[1] = ins;
    command[2] = 0;
    command[3] = 0;
    command[4] = 0;
    command[5] = static_cast<u8>(dataLength >> 8);  // the one number with its high byte first
    command[6] = static_cast<u8>(dataLength);
}

u32 Apdu::send(ApduTalker& talker) {
    const u32 capacity = replyLength;
    u32 rv = talker.transmit(command.get(), commandLength, replyBuffer.get(), &replyLength);
    if (replyLength < statusLength || replyLength > capacity) {
        replyLength = 0;
        if (rv == result::success) {
            rv = result::communicationError;
        }
    }
    return rv;
}

u32 Apdu::replyDataLength() const {
    return replyLength == 0 ? 0 : replyLength - statusLength;
}

u16 Apdu::statusWord() const {
    u16 status = 0;
    if (replyLength != 0) {
        const u8* const end = replyBuffer.get() + replyLength;
        status = *reinterpret_cast<const Le16*>(end - statusLength);
    }
    return status;
}

u32 transmitChecked(ApduTalker& talker, Apdu& frame) {
    u32 rv = frame.send(talker);
    if (rv == result::success && frame.statusWord() != status::success) {
        rv = result::statusWordBase | frame.statusWord();
    }
    return rv;
}
