#include <unistd.h>

#include <array>
#include <cstdio>

#include "platform/posix/winscard_names.h"
#include "platform/resource_manager.h"
#include "platform/waiting_notice.h"
#include "token/base/printable.h"

using platform::resourceManager;

namespace {

// In one write.
void writeLine(const char* attempt, const std::string& why, DWORD rv) {
    std::array<char, 16> number{};
    std::snprintf(number.data(), number.size(), " (0x%x)", rv);
    const std::string line =
        std::string("ksigil: cannot ") + attempt + ": " + why + number.data() + "\n";
    if (write(STDERR_FILENO, line.data(), line.size()) < 0) {
        // Nobody is left to be told.
    }
}

// An operator whose program ends for a failed call is told why.
LONG reported(const char* attempt, DWORD rv, const std::string& why) {
    if (rv != 0) {
        const std::string words = token::printable(why);
        if (platform::SilentCalls::areOn()) {
            platform::SilentCalls::tell(words);
        } else {
            writeLine(attempt, words, rv);
        }
    }
    return static_cast<LONG>(rv);
}

}  // namespace

LONG SCardEstablishContext(DWORD scope, LPCVOID, LPCVOID, SCARDCONTEXT* context) {
    std::string why;
    const DWORD rv = resourceManager().establish(scope, *context, why);
    return reported("reach a resource manager", rv, why);
}

LONG SCardReleaseContext(SCARDCONTEXT context) {
    return static_cast<LONG>(resourceManager().release(context));
}

LONG SCardConnectA(SCARDCONTEXT context, LPCSTR reader, DWORD shareMode, DWORD preferredProtocols,
                   SCARDHANDLE* card, DWORD* activeProtocol) {
    std::string why;
    const DWORD rv = resourceManager().connect(context, reader, shareMode, preferredProtocols,
                                               *card, *activeProtocol, why);
    return reported("connect to the token", rv, why);
}

LONG SCardReconnect(SCARDHANDLE card, DWORD shareMode, DWORD preferredProtocols,
                    DWORD initialization, DWORD* activeProtocol) {
    return static_cast<LONG>(resourceManager().reconnect(card, shareMode, preferredProtocols,
                                                         initialization, *activeProtocol));
}

LONG SCardDisconnect(SCARDHANDLE card, DWORD disposition) {
    return static_cast<LONG>(resourceManager().disconnect(card, disposition));
}

LONG SCardBeginTransaction(SCARDHANDLE card) {
    std::string why;
    const DWORD rv = platform::beginWithNotice(resourceManager(), card, why);
    return reported("lock the token", rv, why);
}

LONG SCardEndTransaction(SCARDHANDLE card, DWORD disposition) {
    return static_cast<LONG>(resourceManager().end(card, disposition));
}

LONG SCardTransmit(SCARDHANDLE card, const SCARD_IO_REQUEST* sendPci, const BYTE* sendBuffer,
                   DWORD sendLength, SCARD_IO_REQUEST*, BYTE* receiveBuffer, DWORD* receiveLength) {
    return static_cast<LONG>(resourceManager().transmit(card, sendPci->dwProtocol, sendBuffer,
                                                        sendLength, receiveBuffer, *receiveLength));
}
