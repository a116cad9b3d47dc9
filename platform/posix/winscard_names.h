#pragma once

#include "platform/posix/windows_names.h"

// The published PC/SC names that the program uses. The calls go to the resource manager in use
// (platform/resource_manager.h), whose results come back unchanged. A call to establish, connect or
// begin that fails also writes one line on standard error that says why.

using SCARDCONTEXT = std::uint32_t;
using SCARDHANDLE = std::uint32_t;

struct SCARD_IO_REQUEST {
    DWORD dwProtocol;
    DWORD cbPciLength;
};

constexpr DWORD SCARD_SCOPE_SYSTEM = 2;

constexpr DWORD SCARD_SHARE_SHARED = 2;

constexpr DWORD SCARD_PROTOCOL_T0 = 1;
constexpr DWORD SCARD_PROTOCOL_T1 = 2;

constexpr DWORD SCARD_LEAVE_CARD = 0;
constexpr DWORD SCARD_RESET_CARD = 1;
constexpr DWORD SCARD_UNPOWER_CARD = 2;
constexpr DWORD SCARD_EJECT_CARD = 3;

constexpr LONG SCARD_S_SUCCESS = 0;
constexpr LONG SCARD_E_INVALID_HANDLE = static_cast<LONG>(0x80100003U);
constexpr LONG SCARD_E_INVALID_PARAMETER = static_cast<LONG>(0x80100004U);
constexpr LONG SCARD_E_INSUFFICIENT_BUFFER = static_cast<LONG>(0x80100008U);
constexpr LONG SCARD_E_UNKNOWN_READER = static_cast<LONG>(0x80100009U);
constexpr LONG SCARD_E_SHARING_VIOLATION = static_cast<LONG>(0x8010000BU);
constexpr LONG SCARD_E_NO_SMARTCARD = static_cast<LONG>(0x8010000CU);
constexpr LONG SCARD_E_PROTO_MISMATCH = static_cast<LONG>(0x8010000FU);
constexpr LONG SCARD_F_COMM_ERROR = static_cast<LONG>(0x80100013U);
constexpr LONG SCARD_E_NOT_TRANSACTED = static_cast<LONG>(0x80100016U);
constexpr LONG SCARD_E_READER_UNAVAILABLE = static_cast<LONG>(0x80100017U);
constexpr LONG SCARD_E_NO_SERVICE = static_cast<LONG>(0x8010001DU);
constexpr LONG SCARD_E_UNSUPPORTED_FEATURE = static_cast<LONG>(0x80100022U);
constexpr LONG SCARD_W_UNRESPONSIVE_CARD = static_cast<LONG>(0x80100066U);
constexpr LONG SCARD_W_RESET_CARD = static_cast<LONG>(0x80100068U);
constexpr LONG SCARD_W_REMOVED_CARD = static_cast<LONG>(0x80100069U);

namespace platform {

inline constexpr SCARD_IO_REQUEST g_rgSCardT0Pci{SCARD_PROTOCOL_T0, sizeof(SCARD_IO_REQUEST)};
inline constexpr SCARD_IO_REQUEST g_rgSCardT1Pci{SCARD_PROTOCOL_T1, sizeof(SCARD_IO_REQUEST)};

}  // namespace platform

#define SCARD_PCI_T0 (&platform::g_rgSCardT0Pci)
#define SCARD_PCI_T1 (&platform::g_rgSCardT1Pci)

LONG SCardEstablishContext(DWORD scope, LPCVOID reserved1, LPCVOID reserved2,
                           SCARDCONTEXT* context);
LONG SCardReleaseContext(SCARDCONTEXT context);
LONG SCardConnectA(SCARDCONTEXT context, LPCSTR reader, DWORD shareMode, DWORD preferredProtocols,
                   SCARDHANDLE* card, DWORD* activeProtocol);
LONG SCardReconnect(SCARDHANDLE card, DWORD shareMode, DWORD preferredProtocols,
                    DWORD initialization, DWORD* activeProtocol);
LONG SCardDisconnect(SCARDHANDLE card, DWORD disposition);
LONG SCardBeginTransaction(SCARDHANDLE card);
LONG SCardEndTransaction(SCARDHANDLE card, DWORD disposition);
LONG SCardTransmit(SCARDHANDLE card, const SCARD_IO_REQUEST* sendPci, const BYTE* sendBuffer,
                   DWORD sendLength, SCARD_IO_REQUEST* receivePci, BYTE* receiveBuffer,
                   DWORD* receiveLength);
