#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <sys/wait.h>

namespace {

// The program as a process, on an image of its own. Gives what it writes, with '/' for a line
// break, and its exit status.
struct Shell : testing::Test {
    std::string directory = testing::TempDir() + "shell_test_XXXXXX";

    Shell() { EXPECT_NE(mkdtemp(directory.data()), nullptr); }
    ~Shell() override { std::filesystem::remove_all(directory); }

    std::string run(const std::string& input, const std::string& arguments = "any",
                    const std::string& manager = "embedded", const char* program = QVSH) {
        std::ofstream(directory + "/input") << input;
        const std::string command = "cd " + directory + "; KSIGIL_PCSC=" + manager +
                                    " KSIGIL_TOKEN=$PWD/token.db " + program + " " + arguments;
        FILE* const output = popen((command + " <input 2>errors").c_str(), "r");
        std::string written;
        for (int c = std::getc(output); c != EOF; c = std::getc(output)) {
            written += static_cast<char>(c == '\n' ? '/' : c);
        }
        return written + std::to_string(WEXITSTATUS(pclose(output)));
    }

    // What the last run wrote on standard error.
    std::string errors() const {
        std::ostringstream text;
        text << std::ifstream(directory + "/errors").rdbuf();
        return text.str();
    }
};

#define DENIED "Security privilege not high enough. 0xe0066982"
#define INVALID "Invalid Parameter.0x80070057"
#define MISSING "Bad path (not found). 0xe0066407"

// What a process is given, and what it writes behind the banner. All work on one image.
const std::pair<std::string, std::string> transcripts[] = {
    {"", ">/"},
    {"LOGIN Exit exit h", ">Syntax error./>Syntax error./>"},
    {"h\nlogin h exit h pr h",
     ">Usage: login <pwd>: login to the Veldane AID/>No command specific help found."
     "/>Usage: pr <E> <data>: encrypt using protector key OR"
     "/       pr <D> : decrypt last encrypted data/>No command specific help found./>/"},
    {"login 1234 logout logout changepw x login",
     ">OK./>OK./>OK./>FAIL: " DENIED "/>FAIL: " DENIED "/>/"},
    {"pr E abc pr D pr X abc",
     ">Failed: 0xe0130001/>Failed: 0xe0130001/>Syntax error./>Syntax error./>/"},
    {"login 1234 changepw new exit", ">OK./>OK./>"},
    {"login 1234 login\n\nnew\nexit", ">FAIL: " DENIED "/>OK./>"},
    {"md 3f001000 PUB mf 3f002000 6 PUB mk 3f000001\n1F md 3f001001 prv mf 3f002001 3 Pub",
     ">OK./>OK./>OK./>Syntax error/>Syntax error/>/"},
    {"mk 3f000002 1f mf 3f002001 a PUB mf 3f002001 4294967296 PUB mf 3f002001 -1 PUB",
     ">Syntax error/>Syntax error/>Syntax error./>Syntax error./>Syntax error/>Syntax error."
     "/>Cannot call fs.createFile(): " INVALID "/>/"},
    {"md 3f001001 PRV mf 3f002001 3 PRV mk 3f000002 2F",
     ">Cannot call fs.createDirectory(): " DENIED "/>Cannot call fs.createFile(): " DENIED
     "/>Cannot call fs.createKey(): " DENIED "/>/"},
    {"login new md 3f001001 PRV mf 3f002001 3 PRV mk 3f000002 2F w 3f002001 0 abc",
     ">OK./>OK./>OK./>OK./>OK./>/"},
    {"r 3f002001 0 3 login new r 3f002001 0 3",
     ">Cannot call fs.readBinaryFile(): " DENIED "/>OK./>OK./61 62 63 />/"},
    {"w 3f002000 0 \xFFgcdef wk 3f000001 0123456789abcdef wk 3f000001 12345 w 3f002000 6 a",
     ">OK./>OK./>Cannot call fs.writeKey(): 0x57"
     "/>Cannot call fs.writeBinaryFile(): File size incorrect 0xe006640b/>/"},
    {"r 3f002000 0 2x r 3f002000 0x10 4 r 3f002000 4294967296 4 r 3f002000 0 -1 w 3f002000 z abc",
     ">OK./ff 67 />Syntax error./>OK.//>Syntax error./>Syntax error./>OK.//>Syntax error."
     "/>Cannot call fs.readBinaryFile(): " INVALID "/>OK./>Syntax error./>Syntax error./>/"},
    {"i 3f00 i 3F002001 i 3f009999",
     ">Name     : 3f00/Directory: Yes/Size     : 0/Private  : No"
     "/>Name     : 2001/Directory: No/Size     : 3/Private  : Yes"
     "/>Cannot call fs.getFileInfo(): " MISSING "/>/"},
    {"ls 3f00 lfs 3f00 ld 3f00 ls 3f001000 ls 3f0 lfs 3f0 ld 3f0",
     ">1000/2000/0001/1001/2001/0002/>2000 6/0001 24/2001 3/0002 24/>1000/1001/>"
     ">Cannot call fs.dir(): " INVALID "/>Cannot call fs.dir(): " INVALID
     "/>Cannot call fs.listDirectories(): " INVALID "/>/"},
    {"mf 3f003000 1000 PUB w 3f003000 0 " + std::string(1000, 'a') + " r 3f003000 999 1",
     ">OK./>OK./>OK./61 />/"},
    {"pr d dx 3f000001 e\nabc dx 3f000001 d pr D pr e abc pr D dx E 3f000001 abc",
     ">Failed: " INVALID "/>OK./21 fe 30 3c 99 7c a5 6e />OK./61 62 63 />OK./61 62 63 />OK./"
     "21 fe 30 3c 99 7c a5 6e />OK./61 62 63 />Syntax error./>Syntax error./>/"},
    {"t md 3f00d800 PUB t t",
     ">Remove 3f00d8000001/fs.del(): " MISSING
     "/Create 3f00d8000001/Cannot call fs.createFile(): " MISSING
     "/Write to 3f00d8000001/fs.writeBinaryFile(): " MISSING
     "/>OK./>Remove 3f00d8000001/fs.del(): " MISSING
     "/Create 3f00d8000001/OK./Write to 3f00d8000001/OK."
     "/>Remove 3f00d8000001/OK./Create 3f00d8000001/OK./Write to 3f00d8000001/OK./>/"},
    {"rm 3f009999 login new rm 3f00 ls 3f00 exit",
     ">Cannot call fs.del(): " MISSING "/>OK./>OK./>>"},
};

TEST_F(Shell, AnswersEachWord) {
    for (const auto& [input, expected] : transcripts) {
        const std::string written = run(input);
        const std::string banner = written.substr(0, written.find("--/>") + 3);
        EXPECT_TRUE(banner.starts_with("QV shell version 1.0/"));
        EXPECT_TRUE(banner.ends_with(directory + "/token.db/" + std::string(31, '-') + "/"));
        EXPECT_EQ(written.substr(banner.size()), expected + "0") << input;
    }
}

TEST_F(Shell, EndsWithStatusOne) {
    for (const char* arguments : {"", "two words"}) {
        EXPECT_EQ(run("exit", arguments), "Usage QVSh <readername>/1");
    }
    // A reader that leads nowhere is told once, in one line, and not before the first command.
    for (const char* manager : {"none", "system", "'a\nb'"}) {
        EXPECT_TRUE(run("h pr exit", "any", manager).ends_with(">0"));
        EXPECT_EQ(errors(), "");
        EXPECT_TRUE(run("logout login", "any", manager).ends_with("--/>1"));
        EXPECT_TRUE(errors().starts_with("ksigil: cannot reach")) << errors();
        EXPECT_EQ(errors().find('\n'), errors().size() - 1);
        EXPECT_EQ(errors().find("token.db"), std::string::npos);
    }
    std::filesystem::create_directory(directory + "/token.db");
    EXPECT_TRUE(run("logout login").ends_with("--/>1"));
    EXPECT_TRUE(errors().ends_with("/token.db is not a file (0x80100066)\n")) << errors();
    EXPECT_EQ(errors().find('\n'), errors().size() - 1);
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
        EXPECT_EQ(run("", "any", "embedded", QVPREPARE), "Application entry: " + expected);
        EXPECT_TRUE(run("pr E abc pr D dx 3f0030000001 d exit")
                        .ends_with("/>OK./61 62 63 />OK./61 62 63 />0"));
    }
    run("rm 3f00a1a1 login 1234 mf 3f00a1a1 9 PRV logout");
    EXPECT_EQ(run("", "any", "embedded", QVPREPARE), "Failed: " DENIED "/1");
    EXPECT_EQ(run("", "two words", "embedded", QVPREPARE), "Usage QVPrepare <readername>/1");
    EXPECT_EQ(run("", "any", "none", QVPREPARE), "Failed: 0x8010001d/1");
}

}  // namespace
