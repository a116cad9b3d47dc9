#pragma once

#include <string>

#include "platform/win32.h"
#include "support/lock_guard.h"

// A lock over a named system mutex: all locks of one name are one lock. Re-entrant for the thread
// that holds it; each `lock` needs its own `unlock`. Any thread may use it.
class MTLock final : public Lockable {
  public:
    // An empty `name` makes a lock that nobody else can find; `attributes` may be null. Throws
    // VDW::Win32Exception, "MTLock::MTLock, CreateMutex failed".
    MTLock(const std::string& name, SECURITY_ATTRIBUTES* attributes);
    ~MTLock();

    MTLock(const MTLock&) = delete;
    MTLock& operator=(const MTLock&) = delete;

    // Waits without limit. A mutex whose owner ended without releasing it is taken over. Throws
    // VDW::Win32Exception, "MTLock::lock, WaitForSingleObject failed", without holding the mutex.
    void lock() override;

    // Throws VDW::Win32Exception, "MTLock::unlock, ReleaseMutex failed", also if the calling thread
    // does not hold the mutex.
    void unlock() override;

  private:
    HANDLE handle;
};
