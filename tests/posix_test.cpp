// What stands behind the Windows names, where its system fails or gives less than was asked for.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <thread>

#include "platform/win32.h"
#include "support/create_rng.h"
#include "support/exception.h"
#include "support/mt_lock.h"

namespace {

bool isBeyondRepair = false;
ssize_t kernelGives = 10'000;  // bytes at once; -1: none, and fails

}  // namespace

// These two stand in front of the system's: random bytes, and what makes a mutex whole whose owner
// ended.
ssize_t getrandom(void* buffer, size_t length, unsigned flags) {
    static const auto real = reinterpret_cast<decltype(&getrandom)>(dlsym(RTLD_NEXT, "getrandom"));
    errno = ENOSYS;
    return kernelGives < 0
               ? -1
               : real(buffer, std::min(length, static_cast<size_t>(kernelGives)), flags);
}

extern "C" int pthread_mutex_consistent(pthread_mutex_t* mutex) noexcept {
    static const auto real = reinterpret_cast<decltype(&pthread_mutex_consistent)>(
        dlsym(RTLD_NEXT, "pthread_mutex_consistent"));
    return isBeyondRepair ? EINVAL : real(mutex);
}

namespace {

TEST(Rng, DrawsFromTheKernelPieceByPiece) {
    const std::unique_ptr<Rng> rng = createRng();
    for (const ssize_t atOnce : {10'000, 257}) {
        kernelGives = atOnce;
        std::vector<u8> bytes(5000);
        rng->generate(bytes, 9000);
        EXPECT_EQ(bytes.size(), 9000U);
        EXPECT_EQ(std::set<u8>(bytes.begin() + 5000, bytes.end()).size(), 256U) << atOnce;
    }
    std::vector<u8> bytes;
    for (const ssize_t atOnce : {-1, 0}) {
        kernelGives = atOnce;
        EXPECT_THROW(rng->generate(bytes, 4097), VDW::RngException) << atOnce;
        EXPECT_EQ(GetLastError(), NTE_FAIL);
    }
    kernelGives = 10'000;
}

TEST(MTLock, FailsWhereTheSystemsMutexDoes) {
    using Exception = VDW::Win32Exception;
    MTLock mutex("", nullptr);
    std::thread([&] { mutex.lock(); }).join();
    isBeyondRepair = true;
    std::thread([&] {
        EXPECT_THAT(
            [&] { mutex.lock(); },
            testing::Throws<Exception>(testing::AllOf(
                testing::Field(&Exception::message, "MTLock::lock, WaitForSingleObject failed"),
                testing::Field(&Exception::code, ERROR_INVALID_HANDLE))));
    }).join();
    isBeyondRepair = false;
    EXPECT_EQ(WaitForSingleObject(nullptr, INFINITE), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

}  // namespace
