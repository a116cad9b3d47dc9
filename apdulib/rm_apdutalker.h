#pragma once

#include <string>

#include "apdulib/apdu_talker.h"
#include "apdulib/reader_context.h"
#include "include/basic_types.h"
#include "platform/win32.h"
#include "support/mt_lock.h"

namespace ksigil {
class OperationLog;
}

// The channel to the token through a PC/SC reader. Each thread has a connection of its own, made at
// its first operation and then reused; all talkers of one reader in this process share them, and
// each thread's lock count with them. Any thread may use a talker at any time.
//
// Results are 0, the failing call's own number, 0x80004005 where `create` has not succeeded, or
// 0x8007000E where 64 threads have connections already. Only a failing mutex throws
// (VDW::Win32Exception). Dispositions and initializations are PC/SC's (SCARD_LEAVE_CARD, ...).
class RMApduTalker : public ApduTalker {
  public:
    // Touches no reader. `mode` is PC/SC's share mode for the connections that this talker makes.
    RMApduTalker(const std::string& reader, u32 mode);

    // The last talker of a reader in the process closes all connections to it, those of other
    // threads too, and leaves the card as it is. No operation may be in flight then.
    ~RMApduTalker() override;

    RMApduTalker(const RMApduTalker&) = delete;
    RMApduTalker& operator=(const RMApduTalker&) = delete;

    // Sends one command on the calling thread's connection. Needs no lock and makes no retry;
    // `receiveLength` comes back as PC/SC gives it.
    u32 transmit(const u8* sendBuffer, u32 sendLength, u8* receiveBuffer,
                 u32* receiveLength) override;

    // Gives the calling thread the token to itself; blocks while another connection holds it. Locks
    // nest: only a thread's first begins the PC/SC transaction. A lock that failed must not be
    // matched by an unlock.
    virtual u32 lock();

    // Takes one lock back. The last one ends the transaction with `disposition`; if that fails the
    // thread still has its lock. Without a lock it is 0 and does nothing.
    virtual u32 unlock(u32 disposition);

    // Opens the table of connections; called once, right after construction. Connects nothing. A
    // second call gives 0 and changes nothing; after a failure the talker is as constructed.
    u32 create();

    // Finds the calling thread's record, or connects it. On failure `out` is null, nothing stays
    // open, and the thread's next operation tries anew.
    u32 getContext(ReaderContext*& out);

    // Whether the calling thread has a connection. Makes none.
    bool isConnected();

    // Closes the calling thread's connection, its lock with it; makes one first if there is none.
    void detach(u32 disposition);

    // PC/SC's reconnect on the calling thread's connection. The lock count stays.
    u32 reconnect(u32 initialization);

    // The calling thread's card, connected if need be; 0 if that failed.
    SCARDHANDLE getCardHandle();

    const std::string& getReaderName() const { return readerName; }

  private:
    // The constructor's body. `log` has the entry, which comes before the mutex: that can fail.
    RMApduTalker(const ksigil::OperationLog& log, const std::string& reader, u32 mode);

    u32 openTable();
    u32 openContext(ReaderContext& reservation, ReaderContext*& out);
    void closeContext(ReaderContext& record, u32 disposition);
    void closeTable();

    std::string readerName;
    u32 shareMode;
    HANDLE mapping = nullptr;
    ReaderContextTable* table = nullptr;
    MTLock mutex;
};
