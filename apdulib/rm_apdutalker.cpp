#include "apdulib/rm_apdutalker.h"

#include "include/log_gate.h"
#include "include/result_numbers.h"
#include "support/assertion.h"
#include "support/security_attributes.h"

using namespace ksigil;

namespace {

constexpr const char* mutexName = "{69614115-19CA-4D5E-9B97-7DD75A3E9464}";
constexpr DWORD anyProtocol = SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1;

std::string processUniqueName(const std::string& base) {
    return std::to_string(GetCurrentProcessId()) + "_" + base;
}

const AssertionGate assertionGate(logEnabled);

}  // namespace

RMApduTalker::RMApduTalker(const std::string& reader, u32 mode)
    : RMApduTalker(logEntered("RMApduTalker::RMApduTalker()"), reader, mode) {}

RMApduTalker::RMApduTalker(const OperationLog& log, const std::string& reader, u32 mode)
    : readerName(reader),
      shareMode(mode),
      mutex(processUniqueName(mutexName), processSecurityAttributes().get()) {
    log.exit();
}

RMApduTalker::~RMApduTalker() {
    const OperationLog log = logEntered("RMApduTalker::~RMApduTalker()");
    {
        const LockGuard guard(&mutex);
        if (mapping != nullptr) {
            --table->refCount;
            if (table->refCount == 0) {
                logEvent("RMApduTalker::~RMApduTalker()", "last in process");
                for (ReaderContext& record : table->records) {
                    if (record.inUse()) {
                        closeContext(record, SCARD_LEAVE_CARD);
                    }
                }
            }
            closeTable();
        }
    }
    log.exit();
}

u32 RMApduTalker::create() {
    const OperationLog log = logEntered("RMApduTalker::create()");
    u32 rv = result::success;
    {
        const LockGuard guard(&mutex);
        if (mapping == nullptr) {
            rv = openTable();
        }
    }
    return log.talkerExit(rv);
}

u32 RMApduTalker::openTable() {
    u32 rv = result::success;
    const std::string name = processUniqueName(readerName);
    mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, processSecurityAttributes().get(),
                                 PAGE_READWRITE, 0, sizeof(ReaderContextTable), name.c_str());
    const DWORD created = GetLastError();
    if (mapping == nullptr) {
        rv = created;
    } else {
        table = static_cast<ReaderContextTable*>(MapViewOfFile(
            mapping, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, sizeof(ReaderContextTable)));
        if (table == nullptr) {
            rv = GetLastError();
            closeTable();
        } else {
            if (created != ERROR_ALREADY_EXISTS) {
                logEvent("RMApduTalker::create", "first creator");
                *table = {};
            }
            ++table->refCount;
        }
    }
    return rv;
}

void RMApduTalker::closeTable() {
    if (table != nullptr) {
        UnmapViewOfFile(table);
        table = nullptr;
    }
    CloseHandle(mapping);
    mapping = nullptr;
}

u32 RMApduTalker::getContext(ReaderContext*& out) {
    logEntered("RMApduTalker::getContext");
    ReaderContext* reservation = nullptr;
    out = nullptr;
    {
        const LockGuard guard(&mutex);
        if (mapping == nullptr) {
            logEvent("RMApduTalker::getContext", "no mapping");
            return result::fail;
        }
        out = table->find(GetCurrentThreadId());
        if (out != nullptr) {
            logEvent("RMApduTalker::getContext", "found, index = ", table->indexOf(*out));
            return result::success;
        }
        logEvent("RMApduTalker::getContext", "not found");
        reservation = table->reserve();
    }
    if (reservation == nullptr) {
        logEvent("RMApduTalker::getContext", "Reader Context full");
        return result::outOfMemory;
    }
    try {
        return openContext(*reservation, out);
    } catch (...) {
        if (out == nullptr) {
            reservation->release();
        }
        throw;
    }
}

// Connects outside the mutex, so a slow connect holds no other thread up; the record then enters
// the table complete.
u32 RMApduTalker::openContext(ReaderContext& reservation, ReaderContext*& out) {
    ReaderContext opened{};
    opened.threadId = GetCurrentThreadId();
    u32 rv = static_cast<u32>(
        SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &opened.context));
    if (rv == result::success) {
        rv = static_cast<u32>(SCardConnectA(opened.context, readerName.c_str(), shareMode,
                                            anyProtocol, &opened.card, &opened.activeProtocol));
    }
    if (rv != result::success) {
        closeContext(opened, SCARD_LEAVE_CARD);
        reservation.release();
        return rv;
    }
    const LockGuard guard(&mutex);
    reservation = opened;
    out = &reservation;
    logEvent("RMApduTalker::getContext", "created: index: ", table->indexOf(*out));
    return result::success;
}

void RMApduTalker::closeContext(ReaderContext& record, u32 disposition) {
    if (record.card != 0) {
        SCardDisconnect(record.card, disposition);
    }
    if (record.inUse()) {
        SCardReleaseContext(record.context);
    }
    const LockGuard guard(&mutex);
    record = {};
}

bool RMApduTalker::isConnected() {
    const LockGuard guard(&mutex);
    return mapping != nullptr && table->find(GetCurrentThreadId()) != nullptr;
}

void RMApduTalker::detach(u32 disposition) {
    const OperationLog log = logEntered("RMApduTalker::detach()");
    ReaderContext* own = nullptr;
    if (getContext(own) == result::success) {
        closeContext(*own, disposition);
    }
    log.exit();
}

u32 RMApduTalker::reconnect(u32 initialization) {
    const OperationLog log = logEntered("RMApduTalker::reconnect()");
    ReaderContext* own = nullptr;
    u32 rv = getContext(own);
    if (rv == result::success) {
        rv = static_cast<u32>(SCardReconnect(own->card, shareMode, anyProtocol, initialization,
                                             &own->activeProtocol));
    }
    return log.talkerExit(rv);
}

SCARDHANDLE RMApduTalker::getCardHandle() {
    ReaderContext* own = nullptr;
    return getContext(own) == result::success ? own->card : 0;
}

u32 RMApduTalker::lock() {
    const OperationLog log = logEntered("RMApduTalker::lock()");
    ReaderContext* own = nullptr;
    u32 rv = getContext(own);
    if (rv == result::success) {
        if (own->lockCount == 0) {
            logEvent("RMApduTalker::lock", "** RM lock");
            rv = static_cast<u32>(SCardBeginTransaction(own->card));
            if (rv == result::success) {
                ++own->lockCount;
                own->lockGrabbed();
                logEvent("RMApduTalker::lock", "** RM lock, grabbed");
            }
        } else {
            logEvent("RMApduTalker::lock", "** lockCount = ", own->lockCount);
            ++own->lockCount;
        }
    }
    return log.talkerExit(rv);
}

u32 RMApduTalker::unlock(u32 disposition) {
    const OperationLog log = logEntered("RMApduTalker::unlock()");
    ReaderContext* own = nullptr;
    u32 rv = getContext(own);
    if (rv == result::success) {
        if (own->lockCount == 0) {
            logEvent("RMApduTalker::unlock", "card already unlocked");
        } else if (own->lockCount == 1) {
            logEvent("RMApduTalker::unlock", "** RM unlock");
            rv = static_cast<u32>(SCardEndTransaction(own->card, disposition));
            if (rv == result::success) {
                --own->lockCount;
                own->lockReleased();
                logEvent("RMApduTalker::unlock", "** RM unlock, released");
            }
        } else {
            logEvent("RMApduTalker::unlock", "** lockCount = ", own->lockCount);
            --own->lockCount;
        }
    }
    return log.talkerExit(rv);
}

u32 RMApduTalker::transmit(const u8* sendBuffer, u32 sendLength, u8* receiveBuffer,
                           u32* receiveLength) {
    const OperationLog log = logEntered("RMApduTalker::transmit()");
    ReaderContext* own = nullptr;
    u32 rv = getContext(own);
    if (rv == result::success) {
        const SCARD_IO_REQUEST* const header =
            own->activeProtocol == SCARD_PROTOCOL_T0 ? SCARD_PCI_T0 : SCARD_PCI_T1;
        DWORD length = *receiveLength;
        rv = static_cast<u32>(SCardTransmit(own->card, header, sendBuffer, sendLength, nullptr,
                                            receiveBuffer, &length));
        *receiveLength = length;
    }
    return log.talkerExit(rv);
}
