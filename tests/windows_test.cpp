#include <gmock/gmock.h>

#include <algorithm>
#include <optional>
#include <sstream>

#include "tests/toolbox/programs.h"
#include "tests/toolbox/scratch_image.h"
#include "tests/toolbox/transcripts.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;

#define BANNER                                                                               \
    "QV shell version 1.0/Veldane: console for the security tokens of the kSigil family/"    \
    "Reader \"VDW ifdh 0\" leads to the system's resource manager/-------------------------" \
    "------/"

// Up to a line that has this text. Every line comes in time.
void hearTo(Process& process, const std::string& text) {
    std::string line;
    do {
        line = process.hear();
    } while (line.find(text) == std::string::npos && line != "waits");
    EXPECT_THAT(line, HasSubstr(text));
}

// The programs of Windows, and for them a resource manager with a fresh token in its reader. Their
// folder, and Wine's, come by environment from script/test-windows.
struct Windows : Programs {
    const std::string shell = "$KSIGIL_WINE $KSIGIL_WINDOWS/QVSh.exe any";
    const std::string tool = TOOL " --image " + file("token.db") + " ";
    std::optional<Process> broker, server, user;

    void SetUp() override {
        if (std::getenv("KSIGIL_WINDOWS") == nullptr) {
            ASSERT_EQ(std::getenv("KSIGIL_NEED_WINE"), nullptr);
            GTEST_SKIP() << "script/test-windows runs this";
        }
        putFreshImage(file("token.db"));
        broker.emplace("python3 " ROOT "/tests/windows/broker.py");
        std::string port, tokenPort;
        std::istringstream(broker->hear()) >> port >> tokenPort;
        setenv("KSIGIL_BROKER", port.c_str(), 1);
        server.emplace(tool + "serve --vpcd 127.0.0.1:" + tokenPort);
        hearTo(*server, " is served to ");
        // Another user of the resource manager, who says its words and hears its results.
        user.emplace("bash -c 'exec 3<>/dev/tcp/127.0.0.1/" + port +
                     "; while read w; do echo $w >&3; read r <&3; echo $r; done'");
    }

    std::string run(const std::string& input, const std::string& command) {
        put("input", input);
        return Programs::run("exec 2>errors <input; timeout 60 env -u KSIGIL_PCSC " + command);
    }
    void ask(const std::string& word, const std::string& result) {
        user->say(word);
        ASSERT_EQ(user->hear(), result) << word;
    }
};

// A shell that is told one command after the other.
struct RunningShell : Process {
    explicit RunningShell(const std::string& command) : Process(command) { hearTo(*this, "-----"); }
    std::string answer(const std::string& command) {
        say(command);
        return hear();
    }
};

TEST_F(Windows, AnswersTheShellAsTheEmbeddedToken) {
    for (const auto& [input, expected] : transcripts) {
        EXPECT_EQ(run(input, shell), BANNER + expected + "0") << input;
        EXPECT_EQ(contentOf(file("errors")), "") << input;
        ask("connect", "0");  // the token's power, and the login, outlive a shell
        ask("disconnect 1", "0");
    }
}

TEST_F(Windows, ReadsBesideAnotherShell) {
    // A byte that ends a text of Windows does not end this input.
    EXPECT_EQ(run("mf 3f000001 1 PUB mf 3f000002 2 PUB w 3f000001 0 a w 3f000002 0 b\x1A "
                  "r 3f000002 0 2",
                  shell),
              BANNER ">OK./>OK./>OK./>OK./>OK./62 1a />/0");
    for (const std::string number : {"1", "2"}) {
        std::string words;
        for (int i = 0; i < 100; ++i) {
            words += "r 3f00000" + number + " 0 1\n";
        }
        put(number, words);
    }
    EXPECT_EQ(run("", "sh -c '" + shell + " <1 >a & " + shell +
                          " <2 >b; wait; grep -c \"^61 $\" a; grep -c \"^62 $\" b'"),
              "100/100/0");
}

// One shell holds the token within a command; another, and a third user, wait for it.
TEST_F(Windows, LosesATokenThatIsResetOrTakenOut) {
    EXPECT_EQ(run("login 1234 mf 3f000001 1 PRV", shell), BANNER ">OK./>OK./>/0");
    const struct {
        const char *result, *words;
    } losses[] = {{"80100068", "reset; start again"},
                  {"80100069", "removed from its reader; put it in and start again"}};
    for (const auto& [result, words] : losses) {
        const bool isTakenOut = result == losses[1].result;
        RunningShell holding(shell), waiting(shell + " 2>" + file("waiting"));
        EXPECT_EQ(waiting.answer("login 1234"), ">OK.");
        holding.say("login");
        ask("connect", "0");
        for (user->say("begin"); user->hear(500) == "0"; user->say("begin")) {
            ask("end 0", "0");
        }
        waiting.say("logout");
        if (isTakenOut) {
            EXPECT_THAT(::run(tool + "eject"), EndsWith("./0"));
            EXPECT_EQ(user->hear(), result);
            EXPECT_EQ(holding.answer("1234"), ">FAIL: 0x80100069");
            EXPECT_EQ(holding.hear(), "Cannot unlock0x80100069");
        } else {
            holding.end(SIGKILL);
            EXPECT_EQ(user->hear(), result);
        }
        EXPECT_EQ(waiting.hear(), ">");
        EXPECT_EQ(WEXITSTATUS(waiting.end(0)), 1);
        EXPECT_EQ(contentOf(file("waiting")),
                  std::string("ksigil: cannot lock the token: the token was ") + words + " (0x" +
                      result + ")\n");
        if (isTakenOut) {
            EXPECT_EQ(run("logout", shell), BANNER ">1");
            EXPECT_EQ(contentOf(file("errors")),
                      "ksigil: cannot connect to the token: reader \"VDW ifdh 0\": there is no "
                      "token in the reader; put it in (0x8010000c)\n");
            ::run(tool + "insert");
            hearTo(*server, " is served to ");
        }
        EXPECT_EQ(run("r 3f000001 0 1", shell),
                  BANNER ">Cannot call fs.readBinaryFile(): " DENIED "/>/0");
    }
}

TEST_F(Windows, PreparesATokenForBothSystems) {
    const std::string name = "$KSIGIL_WINE $KSIGIL_WINDOWS/QVPrepare.exe ";
    for (const std::string had : {"made", "was there"}) {
        EXPECT_EQ(run("", name + "any"), "Application entry: " + had + "/Directory 3f003000: " +
                                             had + "/Key 3f0030000001: " + had + "/0");
    }
    const std::string words = "pr E abc pr D dx 3f0030000001 e abc";
    const std::string there = run(words, shell);
    EXPECT_THAT(there, HasSubstr("/>OK./61 62 63 />OK./"));
    server->end(SIGTERM);
    const std::string here = run(words, "env KSIGIL_PCSC=embedded " QVSH " any");
    EXPECT_EQ(there.substr(there.find('>')), here.substr(here.find('>')));
}

TEST_F(Windows, ServesTheProgramOfSingleCommands) {
    std::string bytes;
    for (int i = 0; i < 4096; ++i) {
        bytes += static_cast<char>(i);
    }
    put("bytes", bytes);
    put("password", "1234\r\n");
    const std::string logIn = " --password-file password";
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {"put bytes 3f000001", "0", ""},
        {"put bytes 3f000001", "1", "3f000001 exists already"},
        {"put bytes 3f000001 --force", "0", "until 3f000001 is replaced"},
        {"mkdir 3f001000 --private" + logIn, "0", ""},
        {"get 3f000001 back", "0", ""},
        {"export tree" + logIn, "0", ""},
        {"export tree", "1", "tree exists already"},
        {"export tree.tar", "1", "has no tar files: name a folder"},
        {"rm 3f00 -r --force" + logIn, "0", ""},
        {"import tree --json" + logIn, "0", ""},
        {"ls -l", "file public 4096 0001/directory private 0 1000/0", ""},
        {"get 3f000001", "0", ""},
        {"put - 3f000003 <bytes", "0", ""},
        {"get 3f000003 >out", "0", ""},
        {"get 3f000002 none", "1", "(0xe0066407)"},
        {"frob", "2", "\"frob\" is no command"},
    };
    for (const auto& [command, expected, told] : rows) {
        std::string output = run("", "$KSIGIL_WINE $KSIGIL_WINDOWS/ksigil.exe " + command);
        const auto bothAreBlank = [](char one, char next) { return one == ' ' && next == ' '; };
        output.erase(std::unique(output.begin(), output.end(), bothAreBlank), output.end());
        EXPECT_THAT(output, EndsWith(expected)) << command;
        const std::string errors = contentOf(file("errors"));
        EXPECT_TRUE(told.empty() ? errors.empty() : errors.find(told) != std::string::npos)
            << command << ": " << errors;
    }
    for (const char* name : {"back", "tree/0001", "out"}) {
        EXPECT_EQ(contentOf(file(name)), bytes) << name;
    }
}

TEST_F(Windows, TracesASessionAsTheNativeShell) {
    const std::string key = " 'HKLM\\Software\\Veldane\\kSigil\\Logging' /f >&2 ";
    const std::string remove = "$KSIGIL_WINE reg delete" + key;
    const std::string session = "login 1234 mf 3f000001 1 PUB w 3f000001 0 a ls 3f00 frob exit";
    Programs::run(remove + "; $KSIGIL_WINE reg add" + key + "/v Enabled /t REG_DWORD /d 1");
    run(session, shell);
    const std::string there =
        Programs::run("cut -c21- \"$WINEPREFIX\"/drive_c/users/*/Temp/qvsh.log");
    Programs::run(remove);
    server->end(SIGTERM);
    putFreshImage(file("token.db"));
    put("conf", "Enabled=1");
    run(session, "env KSIGIL_PCSC=embedded " QVSH " any");
    EXPECT_THAT(there, HasSubstr("QVFileSystem::writeFile"));
    EXPECT_EQ(there, Programs::run("cut -c21- qvsh.log"));
}

TEST_F(Windows, EndsWithStatusOne) {
    const std::string program = "$KSIGIL_WINE $KSIGIL_WINDOWS/";
    for (const char* arguments : {"", " two words"}) {
        EXPECT_EQ(run("exit", program + "QVSh.exe" + arguments), "Usage QVSh <readername>/1");
        EXPECT_EQ(run("exit", program + "QVPrepare.exe" + arguments),
                  "Usage QVPrepare <readername>/1");
    }
    const std::pair<std::string, std::string> cases[] = {
        {"PCSC=none", "KSIGIL_PCSC names \"none\", not \"embedded\" or \"system\""},
        {"PCSC=embedded",
         "on Windows the program has no embedded token; use one in a reader "
         "(KSIGIL_PCSC=system)"},
        {"BROKER=1", "the Smart Card service (SCardSvr) does not run. Is a reader plugged in?"}};
    for (const auto& [setting, told] : cases) {
        EXPECT_THAT(run("logout login", "env KSIGIL_" + setting + " " + shell), EndsWith("--/>1"));
        EXPECT_EQ(contentOf(file("errors")),
                  "ksigil: cannot reach a resource manager: " + told + " (0x8010001d)\n");
    }
    RunningShell running(shell + " 2>" + file("errors"));
    EXPECT_EQ(running.answer("logout"), ">OK.");
    broker->end(SIGKILL);
    EXPECT_EQ(running.answer("logout"), ">");
    EXPECT_EQ(WEXITSTATUS(running.end(0)), 1);
    EXPECT_EQ(contentOf(file("errors")),
              "ksigil: cannot lock the token: the Smart Card service went away; start again "
              "(0x6)\n");
}

}  // namespace
