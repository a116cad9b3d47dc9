#include <gmock/gmock.h>

#include "Components/qv_aid/qv_protector.h"
#include "tests/toolbox/programs.h"
#include "tests/toolbox/shell_run.h"
#include "tests/toolbox/transcripts.h"
#include "tests/toolbox/watched_token.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

struct Shell : Programs {
    std::string run(const std::string& input, const std::string& command = "$shell") {
        put("input", input);
        return Programs::run(command + " <input 2>errors");
    }
};

TEST_F(Shell, AnswersEachWord) {
    const std::string banner =
        "QV shell version 1.0/Veldane: console for the security tokens of the kSigil family/"
        "Reader \"VDW ifdh 0\" leads to the embedded token, image " +
        file("token.db") + "/-------------------------------/";
    for (const auto& [input, expected] : transcripts) {
        EXPECT_EQ(run(input), banner + expected + "0") << input;
        EXPECT_EQ(contentOf(file("errors")), "") << input;
    }
}

TEST_F(Shell, EndsWithStatusOne) {
    for (const char* arguments : {"", " two words"}) {
        EXPECT_EQ(run("exit", QVSH + std::string(arguments)), "Usage QVSh <readername>/1");
    }
    // A reader that leads nowhere is told once, in one line, and not before the first command.
    std::filesystem::create_directory(file("folder"));
    const std::string reach = "reach a resource manager: ";
    const std::string ending = ", not \"embedded\" or \"system\" (0x8010001d)\n";
    const std::pair<std::string, std::string> cases[] = {
        {"PCSC=none", reach + "KSIGIL_PCSC names \"none\"" + ending},
        {"PCSC='a\nb'", reach + "KSIGIL_PCSC names \"a?b\"" + ending},
        {"TOKEN=folder",
         "connect to the token: " + file("folder") + " is not a file (0x80100066)\n"}};
    for (const auto& [setting, told] : cases) {
        const std::string command = "KSIGIL_" + setting + " $shell";
        EXPECT_THAT(run("h pr exit", command), EndsWith(">0"));
        EXPECT_EQ(contentOf(file("errors")), "");
        EXPECT_THAT(run("logout login", command), EndsWith("--/>1"));
        EXPECT_EQ(contentOf(file("errors")), "ksigil: cannot " + told);
    }
}

// What the shell does first, and what QVPrepare then says.
TEST_F(Shell, FindsTheTokenPrepared) {
    const std::pair<const char*, std::string> cases[] = {
        {"", "made/Directory 3f003000: made/Key 3f0030000001: made/0"},
        {"", "was there/Directory 3f003000: was there/Key 3f0030000001: was there/0"},
        {"rm 3f0030000001", "was there/Directory 3f003000: was there/Key 3f0030000001: made/0"},
        {"rm 3f003000", "was there/Directory 3f003000: made/Key 3f0030000001: made/0"}};
    for (const auto& [words, expected] : cases) {
        run(words);
        EXPECT_EQ(run("", QVPREPARE " any"), "Application entry: " + expected);
        EXPECT_THAT(run("pr E abc pr D dx 3f0030000001 d exit"),
                    EndsWith("/>OK./61 62 63 />OK./61 62 63 />0"));
    }
    run("rm 3f00a1a1 login 1234 mf 3f00a1a1 9 PRV logout");
    EXPECT_EQ(run("", QVPREPARE " any"), "Failed: " DENIED "/1");
    run("login 1234 rm 3f00a1a1 mf 3f00a1a1 65532 PUB logout");
    EXPECT_THAT(run("", QVPREPARE " any"), MatchesRegex("Application entry: missing/Failed: .*/1"));
    EXPECT_THAT(run("i 3f00a1a1"), HasSubstr("65532"));
    EXPECT_THAT(run("", QVPREPARE " --help"), MatchesRegex("Usage QVPrepare <.*--version.*/0"));
    EXPECT_THAT(run("", QVPREPARE " --version"), MatchesRegex("QVPrepare [0-9.]+/0"));
    for (const std::string arguments : {"", " two words", " -h", " --helf", " --help me"}) {
        EXPECT_EQ(run("", QVPREPARE + arguments), "Usage QVPrepare <readername>/1") << arguments;
    }
    EXPECT_EQ(run("", "KSIGIL_PCSC=none " QVPREPARE " any"), "Failed: 0x8010001d/1");
}

TEST_F(Shell, LeavesNoCoreDump) {
    for (const std::string manager : {"embedded", "system"}) {
        EXPECT_EQ(Programs::run(
                      "ulimit -c unlimited; rm -f in; mkfifo in; exec 3<>in; export KSIGIL_PCSC=" +
                      manager +
                      "; sh -c 'echo $$ >pid; exec " QVSH " any' <in | { read banner;"
                      "grep -c 'core file size *0 *0' /proc/$(cat pid)/limits; echo exit >in; }"),
                  "1/0")
            << manager;
    }
}

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
