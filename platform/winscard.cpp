#include <array>
#include <cstdio>

#include "platform/process.h"
#include "platform/resource_manager.h"
#include "platform/waiting_notice.h"
#include "platform/win32.h"
#include "token/base/printable.h"

using platform::resourceManager;

namespace {

// An operator whose program ends for a failed call is told why.
LONG reported(const char* attempt, std::uint32_t rv, const std::string& why) {
    if (rv != 0) {
        const std::string words = token::printable(why);
        if (platform::SilentCalls::areOn()) {
            platform::SilentCalls::tell(words);
        } else {
            std::array<char, 16> number{};
            std::snprintf(number.data(), number.size(), " (0x%x)", static_cast<unsigned>(rv));
            platform::writeToStandardError(std::string("ksigil: cannot ") + attempt + ": " + words +
                                           number.data() + "\n");
        }
    }
    return static_cast<LONG>(rv);
}

// The managers' handles are of 32 bits; the published ones may be wider. One that does not fit was
// not given out: 0 is none either.
std::uint32_t narrow(std::uintptr_t handle) {
    return handle > UINT32_MAX ? 0 : static_cast<std::uint32_t>(handle);
}

}  // namespace

LONG SCardEstablishContext(DWORD scope, LPCVOID, LPCVOID, SCARDCONTEXT* context) {
    std::uint32_t established = 0;
    std::string why;
    const std::uint32_t rv = resourceManager().establish(scope, established, why);
    if (rv == 0) {
        *context = established;
    }
    return reported("reach a resource manager", rv, why);
}

LONG SCardReleaseContext(SCARDCONTEXT context) {
    return static_cast<LONG>(resourceManager().release(narrow(context)));
}

LONG SCardConnectA(SCARDCONTEXT context, LPCSTR reader, DWORD shareMode, DWORD preferredProtocols,
                   SCARDHANDLE* card, DWORD* activeProtocol) {
    std::uint32_t connected = 0;
    std::uint32_t active = 0;
    std::string why;
    const std::uint32_t rv = resourceManager().connect(narrow(context), reader, shareMode,
                                                       preferredProtocols, connected, active, why);
    if (rv == 0) {
        *card = connected;
        *activeProtocol = active;
    }
    return reported("connect to the token", rv, why);
}

LONG SCardReconnect(SCARDHANDLE card, DWORD shareMode, DWORD preferredProtocols,
                    DWORD initialization, DWORD* activeProtocol) {
    std::uint32_t active = 0;
    const std::uint32_t rv = resourceManager().reconnect(
        narrow(card), shareMode, preferredProtocols, initialization, active);
    if (rv == 0) {
        *activeProtocol = active;
    }
    return static_cast<LONG>(rv);
}

LONG SCardDisconnect(SCARDHANDLE card, DWORD disposition) {
    return static_cast<LONG>(resourceManager().disconnect(narrow(card), disposition));
}

LONG SCardBeginTransaction(SCARDHANDLE card) {
    std::string why;
    const std::uint32_t rv = platform::beginWithNotice(resourceManager(), narrow(card), why);
    return reported("lock the token", rv, why);
}

LONG SCardEndTransaction(SCARDHANDLE card, DWORD disposition) {
    return static_cast<LONG>(resourceManager().end(narrow(card), disposition));
}

LONG SCardTransmit(SCARDHANDLE card, const SCARD_IO_REQUEST* sendPci, const BYTE* sendBuffer,
                   DWORD sendLength, SCARD_IO_REQUEST*, BYTE* receiveBuffer, DWORD* receiveLength) {
    std::uint32_t length = *receiveLength;
    const std::uint32_t rv = resourceManager().transmit(
        narrow(card), sendPci->dwProtocol, sendBuffer, sendLength, receiveBuffer, length);
    *receiveLength = length;
    return static_cast<LONG>(rv);
}
