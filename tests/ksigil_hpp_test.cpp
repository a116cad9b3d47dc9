#include <gmock/gmock.h>

#include <cstdlib>
#include <ksigil.hpp>

#include "tests/toolbox/scratch_folder.h"

namespace {

using ksigil::Access;
using ksigil::Bytes;
using ksigil::Factors;

struct Wrapper : testing::Test, ScratchFolder {
    Wrapper() { setenv("KSIGIL_TOKEN", file("token.db").c_str(), 1); }

    static std::uint32_t codeOf(const std::function<void()>& work) {
        try {
            work();
        } catch (const ksigil::Error& error) {
            EXPECT_NE(std::string(error.what()), "");
            return error.code();
        }
        return KSIGIL_OK;
    }
};

TEST_F(Wrapper, OffersWhatTheLibraryDoes) {
    ksigil::Token first;
    ksigil::Token token(std::move(first));
    const ksigil::Lock lock(token);
    EXPECT_EQ(ksigil::readers().size(), 1U);
    EXPECT_EQ(ksigil::version(), ksigil_version());
    token.login("1234");
    token.changePassword("other");
    token.makeDirectory("3f001000");
    token.makeFile("3f0010000001", 2500, Access::isPrivate);
    token.makeKey("3f0010000002", Factors::two);
    token.writeKey("3f0010000002", Bytes(16, 7));
    const Bytes content(2500, 5), some{1, 2, 3};
    token.writeFile("3f0010000001", content);
    token.write("3f0010000001", 1, some);
    Bytes part(5);
    token.read("3f0010000001", 0, part);
    EXPECT_EQ(part, (Bytes{5, 1, 2, 3, 5}));
    EXPECT_EQ(token.readFile("3f0010000001").size(), 2500U);
    EXPECT_EQ(token.decrypt("3F0010000002", token.encrypt("3f0010000002", some)), some);
    EXPECT_FALSE(token.prepareProtector());
    EXPECT_EQ(token.protectorDecrypt(token.protectorEncrypt({})), Bytes());
    EXPECT_STREQ(token.protector().key, "3f0030000001");
    token.setEntry(7, {'1', '0', '0', '0'});
    EXPECT_EQ(token.entry(7)[1], '0');
    EXPECT_EQ(token.entries().size(), 2U);
    token.removeEntry(7);
    EXPECT_EQ(token.findDirectory(0x1000), 0x1001);
    EXPECT_EQ(token.object("3f0010000001").attribute, KSIGIL_PRIVATE);
    EXPECT_EQ(token.list("3f001000").size(), 2U);
    EXPECT_EQ(token.info().bytes_used, 2500U + 24 + 24 + 39);
    EXPECT_EQ(codeOf([&] { token.remove("3f001000"); }), KSIGIL_NOT_EMPTY);
    EXPECT_EQ(codeOf([&] { token.remove(std::string("3f00\0", 5)); }), KSIGIL_INVALID_ARGUMENT);
    EXPECT_EQ(codeOf([&] { first.logout(); }), KSIGIL_INVALID_HANDLE);  // NOLINT: moved from
    EXPECT_EQ(codeOf([] { ksigil::Token("no such reader"); }), KSIGIL_UNKNOWN_READER);

    // What a callback throws comes back from the operation, and the next one is as ever.
    ksigil::setProgress([](auto, auto) -> bool { throw 5; });
    EXPECT_THROW(token.readFile("3f0010000001"), int);
    ksigil::setProgress([](std::uint64_t done, std::uint64_t) { return done > 1000; });
    EXPECT_EQ(codeOf([&] { token.readFile("3f0010000001"); }), KSIGIL_CANCELLED);
    ksigil::setProgress({});
    EXPECT_EQ(token.readFile("3f0010000001")[2], 2);
    token.removeTree("3f00");
    token.logout();
    token.threadDone();
}

}  // namespace
