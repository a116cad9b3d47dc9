#include "support/mt_lock.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <pthread.h>

#include <cerrno>
#include <thread>

#include "support/security_attributes.h"
#include "tests/toolbox/throws.h"

using namespace ksigil;

namespace {

bool isBeyondRepair = false;

}  // namespace

// Stands in front of the system's: what makes a mutex whole whose owner ended.
extern "C" int pthread_mutex_consistent(pthread_mutex_t* mutex) noexcept {
    static const auto real = reinterpret_cast<decltype(&pthread_mutex_consistent)>(
        dlsym(RTLD_NEXT, "pthread_mutex_consistent"));
    return isBeyondRepair ? EINVAL : real(mutex);
}

namespace {

TEST(MTLock, IsReentrantAndTakenOverFromAnOwnerThatEnded) {
    MTLock mutex("reentrant", nullptr);
    const auto unlock = [&] { mutex.unlock(); };
    const auto refused = [&] {
        EXPECT_THAT(unlock, throwsWith("MTLock::unlock, ReleaseMutex failed", 288));
    };
    std::thread([&] { mutex.lock(); }).join();
    mutex.lock();
    mutex.lock();
    std::thread(refused).join();
    unlock();
    unlock();
    refused();
}

TEST(MTLock, ExcludesByName) {
    int count = 0;
    const auto work = [&count] {
        MTLock named("counted", nullptr);
        for (int i = 0; i < 20000; ++i) {
            const LockGuard guard(&named);
            ++count;
        }
    };
    MTLock unnamed("", nullptr);
    const LockGuard held(&unnamed), none(nullptr);
    std::thread other([&] { MTLock("", nullptr).lock(), work(); });
    work();
    other.join();
    EXPECT_EQ(count, 40000);
}

TEST(MTLock, FailsOnANameThatIsTaken) {
    EXPECT_EQ(processSecurityAttributes().get(), nullptr);  // this system has none
    HANDLE mapping =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 16, "taken");
    EXPECT_THAT([] { MTLock("taken", nullptr); },
                throwsWith("MTLock::MTLock, CreateMutex failed", 6));
    CloseHandle(mapping);
}

TEST(MTLock, FailsWhereTheSystemsMutexDoes) {
    MTLock mutex("", nullptr);
    std::thread([&] { mutex.lock(); }).join();
    isBeyondRepair = true;
    std::thread([&] {
        EXPECT_THAT([&] { mutex.lock(); },
                    throwsWith("MTLock::lock, WaitForSingleObject failed", ERROR_INVALID_HANDLE));
    }).join();
    isBeyondRepair = false;
    EXPECT_EQ(WaitForSingleObject(nullptr, INFINITE), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

}  // namespace
