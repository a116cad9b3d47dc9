#include <gmock/gmock.h>

#include <thread>

#include "support/exception.h"
#include "support/mt_lock.h"

namespace {

auto throwsWith(const char* words, u32 code) {
    return testing::Throws<VDW::Win32Exception>(
        testing::AllOf(testing::Field(&VDW::Win32Exception::message, words),
                       testing::Field(&VDW::Win32Exception::code, code)));
}

TEST(Exception, PutsFacilityAndCodeTogether) {
    EXPECT_EQ(VDW::Exception(0x12345, -1, "").code, 0xE345FFFFU);
    const VDW::RngException exception(0x51234, "words");
    EXPECT_EQ(exception.code, 0xE0011234U);
    EXPECT_EQ(exception.plainCode, 0x51234);
}

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
    const LockGuard held(&unnamed);
    std::thread other([&] { MTLock("", nullptr).lock(), work(); });
    work();
    other.join();
    EXPECT_EQ(count, 40000);
}

TEST(MTLock, FailsOnANameThatIsTaken) {
    HANDLE mapping =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 16, "taken");
    EXPECT_THAT([] { MTLock("taken", nullptr); },
                throwsWith("MTLock::MTLock, CreateMutex failed", 6));
    CloseHandle(mapping);
}

}  // namespace
