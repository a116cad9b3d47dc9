#include <expectations.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "platform/crypto_providers.h"
#include "platform/win32.h"
#include "support/assertion.h"
#include "support/create_rng.h"
#include "support/exception.h"
#include "support/mt_lock.h"
#include "support/rng.h"
#include "support/security_attributes.h"
#include "support/software_rng.h"

using namespace ksigil;

namespace {

template <class Exception = VDW::Win32Exception>
auto throwsWith(const char* words, u32 code) {
    return testing::Throws<Exception>(testing::AllOf(testing::Field(&Exception::message, words),
                                                     testing::Field(&Exception::code, code)));
}

enum Provider { good, failing, absent };  // a failing one is there, and fails at each draw

// In use while it exists. Keeps each call in words. The nth provider asked for has the context n.
struct Machine : platform::CryptoProviders {
    explicit Machine(std::vector<Provider> all) : providers(std::move(all)) {
        platform::useCryptoProviders(this);
    }
    ~Machine() override { platform::useCryptoProviders(nullptr); }

    u32 acquire(const char* name, u32 type, u32 flags, u64& context) override {
        calls += std::string(name) + "," + std::to_string(type) + "," + std::to_string(flags) + ";";
        context = ++asked;
        return providerOf(context) == absent ? 1 : 0;
    }
    u32 generate(u64 context, u8*, u32 length) override {
        calls += "draw " + std::to_string(length) + " of " + std::to_string(context) + ";";
        return providerOf(context) == failing ? 0x80091234 : 0;
    }
    u32 release(u64 context) override {
        calls += "release " + std::to_string(context) + ";";
        return 0;
    }

    Provider providerOf(u64 context) const {
        return providers.at(static_cast<std::size_t>(context) - 1);
    }

    std::vector<Provider> providers;
    std::string calls;
    u64 asked = 0;
};

TEST(Rng, IsTheFirstProviderThatPasses) {
    const std::tuple<std::vector<Provider>, u32, const char*> cases[] = {
        {{good, good}, 3, "draw 4 of 1;release 1;"},
        {{failing, absent, good, good}, 2, "draw 4 of 3;release 3;"},
        {{absent, failing, failing, good}, 0, "draw 4 of 4;release 4;"},
        {{absent, absent, absent, absent},
         4,
         "Microsoft Base Cryptographic Provider v1.0,1,4026531840;"},
        {{failing, failing, failing, failing},
         4,
         "Intel Hardware Cryptographic Service Provider,22,0;draw 4 of 1;release 1;"
         "Microsoft Strong Cryptographic Provider,1,4026531840;draw 4 of 2;release 2;"
         "Microsoft Enhanced Cryptographic Provider v1.0,1,4026531840;draw 4 of 3;release 3;"
         "Microsoft Base Cryptographic Provider v1.0,1,4026531840;draw 4 of 4;release 4;"}};
    for (const auto& [providers, kind, lastCalls] : cases) {
        Machine machine(providers);
        EXPECT_EQ(createRng()->sourceKind(), kind) << lastCalls;
        EXPECT_THAT(machine.calls, testing::EndsWith(lastCalls));
    }
    Machine machine({good});
    const std::unique_ptr<Rng> rng = createRng();
    machine.providers = {failing};
    std::vector<u8> bytes(3);
    EXPECT_THAT([&] { rng->generate(bytes, 16); },
                throwsWith<VDW::RngException>("::CryptGenRandom() failed", 0xE0011234U));
    EXPECT_EQ(bytes.size(), 3U);
}

TEST(Rng, IsTheSystemsHere) {
    const std::unique_ptr<Rng> rng = createRng();
    EXPECT_EQ(rng->sourceKind(), Rng::strongProvider);
    std::vector<u8> bytes(5000);
    rng->generate(bytes, 9000);
    EXPECT_EQ(bytes.size(), 9000U);
    EXPECT_EQ(std::set<u8>(bytes.begin() + 5000, bytes.end()).size(), 256U);
}

TEST(SoftwareRng, SharesItsSequenceOnAThread) {
    using Seed = std::vector<u8>;
    for (const auto& [seed, same] : {std::pair<Seed, Seed>{{1, 2, 3, 4, 5, 6}, {1, 2, 3, 4}},
                                     {{1, 2}, {0, 0, 1, 2}},
                                     {{}, {0}}}) {
        std::vector<u8> draws[3];
        SoftwareRng().seed(seed);
        SoftwareRng().generate(draws[0], 5000);
        SoftwareRng().generate(draws[1], 5000);
        SoftwareRng().seed(same);
        SoftwareRng().generate(draws[2], 5000);
        EXPECT_NE(draws[0], draws[1]);
        EXPECT_EQ(draws[0], draws[2]);
        EXPECT_EQ(std::set<u8>(draws[0].begin(), draws[0].end()).size(), 255U);
    }
}

TEST(Exception, PutsFacilityAndCodeTogether) {
    EXPECT_EQ(VDW::Exception(0x12345, -1, "").code, 0xE345FFFFU);
    const VDW::RngException exception(0x51234, "words");
    EXPECT_EQ(exception.code, 0xE0011234U);
    EXPECT_EQ(exception.plainCode, 0x51234);
}

TEST(Assertion, AsksTheGateBehindItsLineAndRunsExitHandlers) {
    const ksigil::AssertionGate gate([] { return std::fputs("asked", stderr) < 0; });
    const auto fail = [] {
        std::atexit([] { std::fputs(", ended", stderr); });
        assertionFailed("x", "f", 71);
    };
    EXPECT_EXIT(fail(), testing::ExitedWithCode(1),
                "^Assertion failed: x at file: f at line: 71\nasked, ended$");
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
    const LockGuard held(&unnamed), none(nullptr);
    std::thread other([&] { MTLock("", nullptr).lock(), work(); });
    work();
    other.join();
    EXPECT_EQ(count, 40000);
}

TEST(SecurityAttributes, AreThoseOfTheSystem) {
    expectAttributes(processSecurityAttributes().get());
}

TEST(MTLock, FailsOnANameThatIsTaken) {
    HANDLE mapping =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 16, "taken");
    EXPECT_THAT([] { MTLock("taken", nullptr); },
                throwsWith("MTLock::MTLock, CreateMutex failed", 6));
    CloseHandle(mapping);
}

}  // namespace
