#include "platform/embedded_resource_manager.h"

#include <gtest/gtest.h>

#include "tests/toolbox/scratch_image.h"

namespace {

constexpr std::uint32_t shared = 2;
constexpr std::uint32_t anyProtocol = 3;
constexpr std::uint32_t t1 = 2;

class EmbeddedTest : public testing::Test {
  protected:
    EmbeddedTest() {
        putFreshImage(path_);
        EXPECT_EQ(manager_.establish(2, context_, why_), 0U);
        card_ = connect();
    }

    std::uint32_t connect() {
        std::uint32_t card = 0;
        std::uint32_t protocol = 0;
        EXPECT_EQ(
            manager_.connect(context_, "VDW ifdh 0", shared, anyProtocol, card, protocol, why_),
            0U);
        EXPECT_EQ(protocol, t1);
        return card;
    }

    std::uint32_t send(std::uint32_t card, const token::Buffer& frame, std::uint32_t& length,
                       std::uint32_t protocol = t1) {
        return manager_.transmit(card, protocol, frame.data(),
                                 static_cast<std::uint32_t>(frame.size()), reply_, length);
    }

    std::uint32_t list(std::uint32_t card) {
        std::uint32_t length = sizeof reply_;
        return send(card, frameOf("d2", "000000"), length);
    }

    ScratchFolder folder_;
    std::string path_ = folder_.file("token.db");
    platform::EmbeddedResourceManager manager_{token::ImagePlace{path_, false}};
    std::string why_;
    std::uint32_t context_ = 0;
    std::uint32_t card_ = 0;
    std::uint8_t reply_[64] = {};
};

TEST_F(EmbeddedTest, RefusesTermsThatItCannotKeep) {
    const std::tuple<const char*, std::uint32_t, std::uint32_t, std::uint32_t> cases[] = {
        {"VDW ifdh 1", shared, anyProtocol, 0x80100009},
        {"", shared, anyProtocol, 0x80100009},
        {"VDW ifdh 0", 1, anyProtocol, 0x80100022},
        {"VDW ifdh 0", shared, 1, 0x8010000F}};
    for (const auto& [reader, share, protocols, result] : cases) {
        std::uint32_t card = 77;
        std::uint32_t protocol = 77;
        std::string why;
        EXPECT_EQ(manager_.connect(context_, reader, share, protocols, card, protocol, why),
                  result);
        EXPECT_FALSE(why.empty());
        EXPECT_EQ(card, 77U);
        EXPECT_EQ(protocol, 77U);
    }
}

TEST_F(EmbeddedTest, TellsWhatAReplyNeeds) {
    const token::Buffer select = frameOf("a4", "0001003f");
    std::uint32_t length = 9;
    EXPECT_EQ(send(card_, select, length), 0x80100008U);
    EXPECT_EQ(length, 10U);
    EXPECT_EQ(reply_[0], 0);
    EXPECT_EQ(send(card_, select, length), 0U);
    EXPECT_EQ(send(card_, select, length, 1), 0x8010000FU);
}

TEST_F(EmbeddedTest, KnowsOnlyTheHandlesThatAreOpen) {
    const std::uint32_t other = connect();
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
    const std::uint32_t other = connect();
    std::uint32_t protocol = 0;
    for (const std::uint32_t disposition : {1U, 2U, 0U, 3U}) {
        const bool resets = disposition == 1 || disposition == 2;
        const std::uint32_t third = connect();
        EXPECT_EQ(manager_.begin(card_, why_), 0U);
        EXPECT_EQ(manager_.end(card_, disposition), 0U);
        EXPECT_EQ(list(card_), 0U);
        EXPECT_EQ(list(other), resets ? 0x80100068U : 0U);
        EXPECT_EQ(manager_.reconnect(other, shared, anyProtocol, disposition, protocol), 0U);
        EXPECT_EQ(list(other), 0U);
        EXPECT_EQ(list(card_), resets ? 0x80100068U : 0U);
        EXPECT_EQ(manager_.disconnect(third, disposition), 0U);
        EXPECT_EQ(list(other), resets ? 0x80100068U : 0U);
        EXPECT_EQ(manager_.reconnect(other, shared, anyProtocol, 0, protocol), 0U);
        EXPECT_EQ(manager_.reconnect(card_, shared, anyProtocol, 0, protocol), 0U);
    }
}

TEST_F(EmbeddedTest, TellsARemovedTokenFromAnAbsentOne) {
    token::Slot({path_, false}).remove();
    std::uint32_t card = 0;
    std::uint32_t protocol = 0;
    EXPECT_EQ(list(card_), 0x80100069U);
    EXPECT_EQ(manager_.reconnect(card_, shared, anyProtocol, 0, protocol), 0x80100069U);
    EXPECT_EQ(manager_.connect(context_, "VDW ifdh 0", shared, anyProtocol, card, protocol, why_),
              0x8010000CU);
}

}  // namespace
