#include "apdulib/auto_reconnect_talker.h"

#include "include/result_numbers.h"

namespace {

bool connectionIsLost(u32 rv) {
    return rv == ERROR_INVALID_HANDLE || rv == static_cast<u32>(SCARD_E_READER_UNAVAILABLE) ||
           rv == static_cast<u32>(SCARD_W_REMOVED_CARD);
}

bool cardWasReset(u32 rv) {
    return rv == static_cast<u32>(SCARD_W_RESET_CARD);
}

}  // namespace

template <typename Operation>
u32 AutoReconnectTalker::withRecovery(Operation operation) {
    u32 rv = operation();
    const bool lost = connectionIsLost(rv);
    if (lost || cardWasReset(rv)) {
        if (lost) {
            detach(SCARD_LEAVE_CARD);
        }
        rv = reconnect(SCARD_LEAVE_CARD);
        if (rv == ksigil::result::success) {
            rv = operation();
        }
    }
    return rv;
}

u32 AutoReconnectTalker::transmit(const u8* sendBuffer, u32 sendLength, u8* receiveBuffer,
                                  u32* receiveLength) {
    // A failed try may have left another number in place of the buffer's room.
    const u32 room = *receiveLength;
    return withRecovery([&] {
        *receiveLength = room;
        return RMApduTalker::transmit(sendBuffer, sendLength, receiveBuffer, receiveLength);
    });
}

u32 AutoReconnectTalker::lock() {
    return withRecovery([this] { return RMApduTalker::lock(); });
}

u32 AutoReconnectTalker::unlock(u32 disposition) {
    return withRecovery([this, disposition] { return RMApduTalker::unlock(disposition); });
}
