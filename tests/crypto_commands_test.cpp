#include <gtest/gtest.h>

#include "Components/qv_aid/qv_protector.h"
#include "tests/toolbox/shell_in_process.h"
#include "tests/toolbox/watched_token.h"

namespace {

TEST(CryptoCommands, SendTheFewestFrames) {
    WatchedToken token;
    const std::string select = ", select 3f00a1a1";
    std::string expected = select + select + ", read 00002700";
    expected += expected + ", select 3f003000, select 3f0030000001, select 3f0030000001";
    for (int i = 0; i < 125; ++i) {
        expected += ", desx 016161616161616161";
    }
    QVProtector().create(token.talker);
    QVFileSystem().createDirectory(token.talker, "3f00d800", false);
    token.take();
    runShell("pr E " + std::string(1000, 'a') + " exit");
    EXPECT_EQ(token.take(), expected + ", desx 010808080808080808");
    runShell("t exit");
    const std::string zeros = hexOf(Bytes(986));
    EXPECT_EQ(token.take(),
              ", select 3f00d8000001, select 3f00d800, create 0100d0070100, select "
              "3f00d8000001, write 0000da03" +
                  zeros + ", write da03da03" + zeros + ", write b4071c00" + hexOf(Bytes(28)));
}

}  // namespace
