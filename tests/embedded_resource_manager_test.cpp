#include "platform/posix/embedded_resource_manager.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "include/basic_types.h"
#include "platform/waiting_notice.h"
#include "platform/win32.h"
#include "tests/toolbox/scratch_image.h"

namespace {

constexpr const char* reader = "VDW ifdh 0";
constexpr u32 shared = 2;
constexpr u32 anyProtocol = 3;
constexpr u32 t1 = 2;

class EmbeddedTest : public testing::Test {
  protected:
    EmbeddedTest() {
        putFreshImage(path_);
        EXPECT_EQ(manager_.establish(2, context_, why_), 0U);
        card_ = connect();
    }

    u32 connect() {
        u32 card = 0;
        EXPECT_EQ(manager_.connect(context_, reader, shared, anyProtocol, card, protocol_, why_),
                  0U);
        EXPECT_EQ(protocol_, t1);
        return card;
    }

    u32 send(u32 card, const token::Buffer& frame, u32& length, u32 protocol = t1) {
        return manager_.transmit(card, protocol, frame.data(), static_cast<u32>(frame.size()),
                                 reply_, length);
    }

    u32 list(u32 card) {
        u32 length = sizeof reply_;
        return send(card, frameOf("d2", "000000"), length);
    }

    ScratchFolder folder_;
    std::string path_ = folder_.file("token.db");
    platform::EmbeddedResourceManager manager_{token::ImagePlace{path_, false}};
    std::string why_;
    u32 context_ = 0;
    u32 card_ = 0;
    u32 protocol_ = 0;
    u8 reply_[64] = {};
};

TEST_F(EmbeddedTest, RefusesTermsThatItCannotKeep) {
    const std::tuple<const char*, u32, u32, u32> cases[] = {
        {"VDW ifdh 1", shared, anyProtocol, 0x80100009},
        {"", shared, anyProtocol, 0x80100009},
        {reader, 1, anyProtocol, 0x80100022},
        {reader, shared, 1, 0x8010000F}};
    for (const auto& [name, share, protocols, result] : cases) {
        u32 card = 77;
        u32 protocol = 77;
        std::string why;
        EXPECT_EQ(manager_.connect(context_, name, share, protocols, card, protocol, why), result);
        EXPECT_FALSE(why.empty());
        EXPECT_EQ(card, 77U);
        EXPECT_EQ(protocol, 77U);
    }
}

TEST_F(EmbeddedTest, TellsWhatAReplyNeeds) {
    const token::Buffer select = frameOf("a4", "0001003f");
    u32 length = 9;
    EXPECT_EQ(send(card_, select, length), 0x80100008U);
    EXPECT_EQ(length, 10U);
    EXPECT_EQ(reply_[0], 0);
    EXPECT_EQ(send(card_, select, length), 0U);
    EXPECT_EQ(send(card_, select, length, 1), 0x8010000FU);
}

TEST_F(EmbeddedTest, KnowsOnlyTheHandlesThatAreOpen) {
    const u32 other = connect();
    EXPECT_EQ(manager_.end(other, 0), 0x80100016U);
    EXPECT_EQ(manager_.begin(other, why_), 0U);
    EXPECT_EQ(manager_.end(other, 4), 0x80100004U);
    EXPECT_EQ(manager_.disconnect(other, 0), 0U);
    EXPECT_EQ(manager_.disconnect(other, 0), 6U);
    EXPECT_EQ(manager_.begin(other, why_), 6U);
    EXPECT_EQ(manager_.begin(card_, why_), 0U);  // the other's transaction went with it
    EXPECT_EQ(manager_.release(context_), 0U);
    EXPECT_EQ(manager_.release(context_), 6U);
    EXPECT_EQ(list(card_), 6U);
}

TEST_F(EmbeddedTest, ResetsByDispositionAndSparesWhoAsked) {
    const u32 other = connect();
    for (const u32 disposition : {1U, 2U, 0U, 3U}) {
        const bool resets = disposition == 1 || disposition == 2;
        const u32 third = connect();
        EXPECT_EQ(manager_.begin(card_, why_), 0U);
        EXPECT_EQ(manager_.end(card_, disposition), 0U);
        EXPECT_EQ(list(card_), 0U);
        EXPECT_EQ(list(other), resets ? 0x80100068U : 0U);
        EXPECT_EQ(manager_.reconnect(other, shared, anyProtocol, disposition, protocol_), 0U);
        EXPECT_EQ(list(other), 0U);
        EXPECT_EQ(list(card_), resets ? 0x80100068U : 0U);
        EXPECT_EQ(manager_.disconnect(third, disposition), 0U);
        EXPECT_EQ(list(other), resets ? 0x80100068U : 0U);
        EXPECT_EQ(manager_.reconnect(other, shared, anyProtocol, 0, protocol_), 0U);
        EXPECT_EQ(manager_.reconnect(card_, shared, anyProtocol, 0, protocol_), 0U);
    }
}

TEST_F(EmbeddedTest, TellsARemovedTokenFromAnAbsentOne) {
    token::Slot({path_, false}).remove();
    EXPECT_EQ(list(card_), 0x80100069U);
    EXPECT_EQ(manager_.reconnect(card_, shared, anyProtocol, 0, protocol_), 0x80100069U);
    EXPECT_EQ(manager_.connect(context_, reader, shared, anyProtocol, card_, protocol_, why_),
              0x8010000CU);
}

// What is inherited is the parent's, so that the child's end leaves it as it is.
TEST_F(EmbeddedTest, IsNotThereForAForkedProcess) {
    platform::useResourceManager(nullptr);
    setenv("KSIGIL_TOKEN", path_.c_str(), 1);
    SCARDCONTEXT context = 0;
    SCARDHANDLE card = 0;
    DWORD protocol = 0;
    EXPECT_EQ(SCardEstablishContext(2, nullptr, nullptr, &context), 0);
    EXPECT_EQ(SCardConnectA(context, reader, shared, anyProtocol, &card, &protocol), 0);
    EXPECT_EQ(SCardBeginTransaction(card), 0);
    const pid_t child = fork();
    if (child == 0) {
        const platform::SilentCalls silent;
        const bool isRefused =
            SCardEndTransaction(card, 1) == SCARD_E_INVALID_HANDLE &&
            SCardDisconnect(card, 1) == SCARD_E_INVALID_HANDLE &&
            SCardEstablishContext(2, nullptr, nullptr, &context) == SCARD_E_INVALID_HANDLE;
        std::exit(isRefused ? 7 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 7);
    EXPECT_EQ(SCardEndTransaction(card, 0), 0);
    EXPECT_EQ(SCardDisconnect(card, 0), 0);
    EXPECT_EQ(SCardReleaseContext(context), 0);
    unsetenv("KSIGIL_TOKEN");
}

}  // namespace
