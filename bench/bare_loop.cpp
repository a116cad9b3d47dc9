#include "bench/bare_loop.h"

#include <winscard.h>

#include <stdexcept>

namespace {

void need(LONG rv) {
    if (rv != SCARD_S_SUCCESS) {
        throw std::runtime_error(pcsc_stringify_error(rv));
    }
}

}  // namespace

BareLoop::BareLoop(const char* reader) {
    DWORD protocol = 0;
    need(SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context_));
    need(SCardConnect(context_, reader, SCARD_SHARE_SHARED, SCARD_PROTOCOL_T1, &card_, &protocol));
}

BareLoop::~BareLoop() {
    SCardDisconnect(card_, SCARD_LEAVE_CARD);
    SCardReleaseContext(context_);
}

std::size_t BareLoop::send(const std::vector<std::vector<std::uint8_t>>& frames) const {
    std::size_t received = 0;
    need(SCardBeginTransaction(card_));
    for (const auto& frame : frames) {
        std::uint8_t reply[1024];
        DWORD length = sizeof reply;
        need(SCardTransmit(card_, SCARD_PCI_T1, frame.data(), frame.size(), nullptr, reply,
                           &length));
        received += length;
    }
    need(SCardEndTransaction(card_, SCARD_LEAVE_CARD));
    return received;
}
