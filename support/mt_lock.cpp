#include "support/mt_lock.h"

#include "support/exception.h"

MTLock::MTLock(const std::string& name, SECURITY_ATTRIBUTES* attributes)
    : handle(CreateMutexA(attributes, FALSE, name.empty() ? nullptr : name.c_str())) {
    if (handle == nullptr) {
        throw VDW::Win32Exception("MTLock::MTLock, CreateMutex failed");
    }
}

MTLock::~MTLock() {
    CloseHandle(handle);
}

void MTLock::lock() {
    const DWORD waited = WaitForSingleObject(handle, INFINITE);
    if (waited == WAIT_FAILED || waited == WAIT_TIMEOUT) {
        throw VDW::Win32Exception("MTLock::lock, WaitForSingleObject failed");
    }
}

void MTLock::unlock() {
    if (ReleaseMutex(handle) == FALSE) {
        throw VDW::Win32Exception("MTLock::unlock, ReleaseMutex failed");
    }
}
