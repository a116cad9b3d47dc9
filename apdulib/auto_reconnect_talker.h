#pragma once

#include "apdulib/rm_apdutalker.h"

// A talker that mends a lost connection. An operation that fails with 6 (ERROR_INVALID_HANDLE),
// 0x80100017 (reader unavailable), 0x80100069 (card removed) or 0x80100068 (card reset) connects
// the calling thread anew and runs once more, without delay. A connection that cannot be mended
// gives its own failure instead. All but the reset end the thread's lock: the operation then runs
// again without one, and `unlock` gives 0.
class AutoReconnectTalker final : public RMApduTalker {
  public:
    using RMApduTalker::RMApduTalker;

    u32 transmit(const u8* sendBuffer, u32 sendLength, u8* receiveBuffer,
                 u32* receiveLength) override;
    u32 lock() override;
    u32 unlock(u32 disposition) override;

  private:
    template <typename Operation>
    u32 withRecovery(Operation operation);
};
