#include <gmock/gmock.h>

#include "shell/hex_byte_writer.h"
#include "tests/toolbox/recording_resource_manager.h"
#include "tests/toolbox/programs.h"
#include "tests/toolbox/transcripts.h"

namespace {

using testing::EndsWith;

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
    EXPECT_EQ(run("", QVPREPARE " two words"), "Usage QVPrepare <readername>/1");
    EXPECT_EQ(run("", "KSIGIL_PCSC=none " QVPREPARE " any"), "Failed: 0x8010001d/1");
}

TEST(CommandFrame, HoldsTheCardFromTheFirstArgumentOn) {
    const std::string begin = " | begin 101", end = " | end 101 0", sent = " | transmit 101 2 0 ";
    const std::string exercise = begin + sent + "15 10" + sent + "13 10" + sent + "15 10" + end;
    const std::tuple<const char*, const char*, const char*, std::string> rows[] = {
        {"x login a md 3f00 no md 3f001000 PUB exit", "none",
         ">Syntax error.\n>FAIL: 0x80100013\n>Syntax error\n"
         ">Cannot call fs.createDirectory(): 0x80100013\n>0",
         begin + sent + "9 2" + end + begin + end + begin + sent + "11 10" + end},
        {"t exit", "end", "\nCannot unlock0x80100016\n>0", exercise},
        {"login a exit", "transmit", "\n>FAIL: 0x80100016\n>0", begin + sent + "9 2" + end},
        {"pr X exit", "end", "-\n>Syntax error.\nCannot unlock0x80100016\n1 exit", begin + end},
        {"t exit", "begin", "-\n>1 exit", begin},
        {"login 1234 exit", "begin", "-\n>1 1234 exit", begin}};
    for (const auto& [input, call, output, calls] : rows) {
        RecordingResourceManager manager;
        manager.results[call] = {0x80100016};
        EXPECT_THAT(shell(input), EndsWith(output));
        EXPECT_EQ(manager.take(), " | open 1" + calls + " | disconnect 101 0 | release 1");
    }
}

TEST(HexByteWriter, LeavesTheBaseDecimal) {
    std::ostringstream stream;
    const u8 bytes[] = {0x0A, 0xFF};
    std::copy_n(bytes, 2, HexByteWriter(stream << std::hex));
    stream << 10;
    EXPECT_EQ(stream.str(), "0a ff 10");
}

}  // namespace
