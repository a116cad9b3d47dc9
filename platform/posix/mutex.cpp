#include <pthread.h>

#include <atomic>
#include <cerrno>

#include "platform/posix/handle.h"

namespace platform {

// Robust, so that an owner that ended without releasing it is found out; recursive, since owners
// take it again.
class SystemMutex : public SystemObject {
  public:
    SystemMutex() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
        pthread_mutex_init(&mutex_, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }

    // A thread that closes the last handle while it holds the mutex lets go of it first: the
    // system keeps a list of what a thread holds, and the memory is about to go.
    ~SystemMutex() override {
        while (release() != FALSE) {
        }
        pthread_mutex_destroy(&mutex_);
    }

    SystemMutex* asMutex() override { return this; }

    DWORD wait() {
        const int error = pthread_mutex_lock(&mutex_);
        if (error == 0) {
            owner_ = GetCurrentThreadId();
            ++depth_;
            return WAIT_OBJECT_0;
        }
        if (error == EOWNERDEAD && pthread_mutex_consistent(&mutex_) == 0) {
            owner_ = GetCurrentThreadId();
            depth_ = 1;
            return WAIT_ABANDONED;
        }
        SetLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }

    BOOL release() {
        if (owner_ != GetCurrentThreadId()) {
            SetLastError(ERROR_NOT_OWNER);
            return FALSE;
        }
        if (--depth_ == 0) {
            owner_ = 0;
        }
        pthread_mutex_unlock(&mutex_);
        return TRUE;
    }

  private:
    pthread_mutex_t mutex_{};
    std::atomic<DWORD> owner_ = 0;  // only its own thread ever finds its own number here
    unsigned depth_ = 0;
};

}  // namespace platform

using platform::handleOf;

HANDLE CreateMutexA(const SECURITY_ATTRIBUTES*, BOOL initialOwner, LPCSTR name) {
    HANDLE handle = platform::openNamed(
        name, [](platform::SystemObject& object) { return object.asMutex() != nullptr; },
        [](SIZE_T) -> std::shared_ptr<platform::SystemObject> {
            return std::make_shared<platform::SystemMutex>();
        },
        0);
    if (handle != nullptr && initialOwner != FALSE && GetLastError() != ERROR_ALREADY_EXISTS) {
        WaitForSingleObject(handle, INFINITE);
    }
    return handle;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD) {
    const platform::Handle* known = handleOf(handle);
    if (known == nullptr || known->mutex == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }
    return known->mutex->wait();
}

BOOL ReleaseMutex(HANDLE handle) {
    const platform::Handle* known = handleOf(handle);
    if (known == nullptr || known->mutex == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return known->mutex->release();
}
