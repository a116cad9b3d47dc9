#include <gmock/gmock.h>

#include <set>
#include <thread>

#include "include/log_gate.h"
#include "include/qv_appentry.h"
#include "support/assertion.h"
#include "tests/toolbox/recording_resource_manager.h"
#include "tests/toolbox/programs.h"

namespace {

using testing::ContainsRegex, testing::MatchesRegex;

static_assert(!std::is_constructible_v<LogText, const char*>);
static_assert(!std::is_convertible_v<std::string, LogPath>);
static_assert(!std::is_constructible_v<LogNumber, u8> && !std::is_constructible_v<LogNumber, char>);

// Built before the source that opens the trace, and gone after `main`.
const struct Outlasting {
    Outlasting() { logEvent("static", ""); }
    ~Outlasting() { logEvent("static", ""); }
} outlasting;

// How a trace is told in short, each text and its form. X is a plain exit; C the thread's record
// found, M missing, N made; T an exchange with the token, S a selection, A one of nothing; B and E
// the talker's making and end; G the card grabbed, and the parentheses the lock and its release.
constexpr const char* shortForms =
    "RMApduTalker::|~|QVFileSystem::|.|QVProtector::|$|: entered\n|+ |: exited: \n|X |"
    ": exited: rv = |-|: exited, rv= |=|\n| |~getContext+ ~getContext: found, index = 0 |C |"
    "~getContext+ ~getContext: not found |M |M ~getContext: created: index: |N |"
    "~transmit()+ C ~transmit()-0 |T |.selectPath+ T .selectPath=0 |S |"
    "~lock: ** RM lock ~lock: ** RM lock, grabbed ~lock()-0 |G |~lock()+ C G |( |"
    "~unlock()+ C ~unlock: ** RM unlock ~unlock: ** RM unlock, released ~unlock()-0 |) |"
    "~RMApduTalker()+ ~RMApduTalker()X |B |.selectPath+ T .selectPath=e0066407 |A |"
    "~~RMApduTalker()+ ~~RMApduTalker(): last in process ~~RMApduTalker()X |E |";

struct Trace : Programs {
    // The lines behind their process and thread, in short.
    std::string trace() const {
        std::istringstream lines(contentOf(file("qvsh.log")));
        std::string all;
        for (std::string line; std::getline(lines, line); all += line.substr(20) + '\n') {
            EXPECT_THAT(line, MatchesRegex("[1-9][0-9 ]{8} [1-9][0-9 ]{8} [^ ].*"));
        }
        std::istringstream forms(shortForms);
        for (std::string whole, brief; getline(forms, whole, '|') && getline(forms, brief, '|');) {
            for (std::size_t at; (at = all.find(whole)) != std::string::npos;) {
                all.replace(at, whole.size(), brief);
            }
        }
        return all;
    }
};

constexpr const char* sessionTrace =
    "B ~create()+ ~create: first creator ~create()-0 ~lock()+ N 0 G QVPassword::login+ T ) ( "
    "QVPassword::changePassword+ T ) ( .createDirectory+ .create+ S T .create=0 "
    ".createDirectory=0 ) ( .createFile+ .create+ S T .create=0 .createFile=0 ) ( .writeFile+ S "
    "T .writeFile=0 ) ( .desx+ S T T .desx=0 ) ( .createFile+ .create+ S T .create=0 "
    ".createFile=0 ) ( .writeFile+ S T .writeFile=0 ) ( .readFile+ S T .readFile=0 ) ( .dir+ "
    ".directoryPath+ S T S S .directoryPath=0 .dir=0 ) ( .listFiles+ .directoryPath+ S T S S "
    ".directoryPath=0 .listFiles=0 ) ( .listDirectories+ .directoryPath+ S T S S "
    ".directoryPath=0 .listDirectories=0 ) ( .getFileInfo+ .selectPath+ .selectPath=80070057 "
    ".getFileInfo=80070057 ) ( $operation+ $initialize+ isAppEntryExist+ readAppEntryFile+ "
    ".getFileInfo+ A .getFileInfo=e0066407 readAppEntryFile=e0066407 isAppEntryExist=0 "
    ".isFileExists+ S .isFileExists=0 .isFileExists+ A .isFileExists=0 $initialize=e0130001 "
    "$operation=e0130001 ) ( .del+ S .directoryPath+ S T S .directoryPath=0 .deletePath+ S T "
    ".deletePath=0 .deletePath+ S T .deletePath=0 .del=0 ) ( QVPassword::logout+ T ) E ";

TEST_F(Trace, TellsAWholeSession) {
    put("conf", "# on\nEnabled=1\n");
    put("input",
        "login 1234 changepw Pass.word md 3f001000 PUB mk 3f0010000001 1F wk 3f0010000001 "
        "0123456789abcdef dx 3f0010000001 E 3f00beef mf 3f002000 4 PRV w 3f002000 0 3f00 "
        "r 3f002000 0 4 ls 3f00 lfs 3f00 ld 3f00 i 3f0 pr E abc rm 3f001000 logout exit");
    // Started without its streams, the program must not take the trace for one of them.
    for (const std::string streams : {"2>&1", ">&- 2>&-"}) {
        run("rm -f token.db; $shell <input " + streams);
        EXPECT_EQ(trace(), sessionTrace) << streams;
    }
    EXPECT_EQ(run("stat -c %a qvsh.log; rm token.db; " QVPREPARE " any >&2"), "600/0");
    EXPECT_THAT(trace(), ContainsRegex("creating: 3f003000 \\.createDirectory\\+ .*"
                                       "creating key: 3f0030000001 \\.createFile\\+ "));
    put("conf", "");
    run("$shell <input");
    EXPECT_EQ(trace(), "");
}

// Calls that no session makes.
void makeOtherCalls() {
    RecordingResourceManager manager;
    RMApduTalker talker("a reader", 2);
    std::vector<u8> bytes;
    u32 length = 0;
    manager.results = {{"connect", {0x80100017}}, {"end", {6}}};
    talker.lock(), talker.create(), talker.create(), talker.unlock(0);
    talker.lock(), talker.lock(), talker.unlock(0), talker.unlock(0);
    talker.detach(0), talker.unlock(0), talker.reconnect(0);
    QVFileSystem().readFile(talker, "3f", bytes), QVAppEntry().remove_kSAppEntry(talker, 1);
    QVProtector().maxOperationLength(1, &length);
    for (u32 i = 0; i < ReaderContextTable::capacity; ++i) {
        std::thread([&] { talker.getCardHandle(); }).join();
    }
}

TEST_F(Trace, TellsTheOtherCalls) {
    std::string told =
        "~lock()+ ~getContext+ ~getContext: no mapping ~lock()--2147467259 ~create()+ ~create: "
        "first creator ~create()-0 ~create()+ ~create()-0 ~unlock()+ M ~unlock()--2146435049 "
        "~lock()+ N 0 G ~lock()+ C ~lock: ** lockCount = 1 ~lock()-0 ~unlock()+ C ~unlock: ** "
        "lockCount = 2 ~unlock()-0 ~unlock()+ C ~unlock: ** RM unlock ~unlock()-6 ~detach()+ C "
        "~detach()X ~unlock()+ N 0 ~unlock: card already unlocked ~unlock()-0 ~reconnect()+ C "
        "~reconnect()-0 .readFile (entire)+ .selectPath+ .selectPath=80070057 .readFile "
        "(entire)=80070057 remove_kSAppEntry+ readAppEntryFile+ .getFileInfo+ .selectPath+ T "
        ".selectPath=80100013 .getFileInfo=80100013 readAppEntryFile=80100013 "
        "remove_kSAppEntry=80100013 $maxOperationLength+ $maxOperationLength=0 ";
    for (int i = 1; i < 64; ++i) {
        told += "N " + std::to_string(i) + " ";
    }
    told += "M ~getContext: Reader Context full ";
    put("conf", "Enabled=1");
    EXPECT_EQ(run("$self calls"), "0");
    EXPECT_EQ(trace(), "static    :  B " + told + "E static    :  ");
}

TEST_F(Trace, IsOnWhereTheFirstEnabledIsOne) {
    setenv("KSIGIL_LOGGING", file("conf").c_str(), 1);
    for (const std::string text :
         {"Enabled=1", "Cycle=x\\nEnabled=01\\nEnabled=0\\n", "", "Enabled=0\\nEnabled=1",
          "Enabled=2", "Enabled=4294967297", "Enabled=-4294967295", "Enabled=1 ",
          "Enabled=", "#Enabled=1\\n", "enabled=1", "XEnabled=1\\n", "Enabled=1\\n%065536d",
          "mkfifo conf", "mkdir conf", "mkdir absent"}) {
        run("rm -rf conf; " + (text.starts_with("mk") ? text : "printf '" + text + "' >conf"));
        const bool isOn = text == "Enabled=1" || text.starts_with("Cycle");
        LogGate gate;
        EXPECT_EQ(gate.logEnabled(), isOn) << text;
        run("rm -rf conf");
        put("conf", isOn ? "" : "Enabled=1");
        EXPECT_EQ(gate.logEnabled(), isOn) << text;
    }
}

TEST_F(Trace, StandsInADirectoryOfLessThan260Bytes) {
    const std::string usual = std::filesystem::temp_directory_path();
    run("mkdir other");
    for (const std::size_t length : {259U, 260U}) {
        std::string path = file("other");
        path.resize(length, '/');
        put("conf", "Path=" + path);
        EXPECT_EQ(run("rm -f qvsh.log other/*; $shell </dev/null >&2; echo *log other/*"),
                  length == 259 ? "*log other/qvsh.log/0" : "qvsh.log other/*/0");
        setenv("TMPDIR", path.c_str(), 1);
        char directory[MAX_PATH];
        GetTempPathA(MAX_PATH, directory);
        EXPECT_EQ(directory, length == 259 ? path : "/tmp");
    }
    setenv("TMPDIR", usual.c_str(), 1);
}

// Writes lines of 33 bytes, a number in the last, asks a gate, and tells what is left.
void fill(u32 lines, u32 number) {
    for (u32 i = 2; i < lines; ++i) {  // the first is the static object's
        writeLog("", "");
    }
    writeLog("", "", LogForm::decimal, number);
    const std::string before = contentOf("qvsh.log");
    LogGate().logEnabled();
    const std::string after = contentOf("qvsh.log");
    std::printf("%zu %zu %d|", before.size(), after.size(), before.ends_with(after));
}

TEST_F(Trace, IsCutToItsLastTenthAboveTheLimit) {
    for (const std::string cycle : {"Cycle=1", "", "Cycle=0", "Cycle=4194305", "Cycle=1x"}) {
        put("conf", "Enabled=1\n" + cycle);
        EXPECT_EQ(run("$self 31,1; $self 31,12; $self 45,1234567890; stat -c %s qvsh.log"),
                  cycle == "Cycle=1" ? "1024 1024 1|1025 102 1|1495 149 1|182/0"
                                     : "1024 1024 1|1025 1025 1|1495 1495 1|1528/0");
    }
}

TEST_F(Trace, KeepsTheLinesOfManyThreadsWhole) {
    for (const int cycle : {0, 16}) {
        put("conf", "Enabled=1\nCycle=" + std::to_string(cycle));
        EXPECT_EQ(run("$self threads"), "0");
        std::istringstream lines(contentOf(file("qvsh.log")));
        std::string line;
        std::getline(lines, line);  // a cut may have halved it
        std::set<std::string> whole;
        const auto isWhole = MatchesRegex("[0-9 ]{20}(thread    : at [0-9]+|static    : )");
        while (std::getline(lines, line)) {
            EXPECT_THAT(line, isWhole);
            EXPECT_TRUE(whole.insert(line).second) << line;
        }
        EXPECT_TRUE(cycle == 0 ? whole.size() == 8001 : whole.size() < 500) << whole.size();
    }
}

TEST_F(Trace, TouchesNoFileButItsOwn) {
    const std::string look = "{ stat -c '%N %F %a %h %u %s' qvsh.log victim absent; cat victim; } ";
    const std::string isSame = look + ">after 2>&1; cmp before after";
    put("conf", "Enabled=1\nCycle=1");
    put("input", "login 1234 ls 3f00 exit");
    const std::string output = run("echo kept >victim; $shell <input");
    for (const std::string obstacle :
         {"ln -s victim qvsh.log", "ln -s absent qvsh.log", "ln victim qvsh.log", "mkfifo qvsh.log",
          "mkfifo qvsh.log; { timeout 1 cat <>qvsh.log >>victim & }", "mkdir qvsh.log",
          "cp victim qvsh.log; chown 1 qvsh.log || ln -f victim qvsh.log"}) {
        const std::string place = "rm -rf qvsh.log; " + obstacle;
        EXPECT_EQ(run(place + "; " + look + ">before 2>&1; $shell <input"), output) << obstacle;
        EXPECT_EQ(run(isSame), "0") << obstacle;
        // The same at a cut, and at the reopening behind it.
        EXPECT_EQ(run("rm -rf qvsh.log; $self '" + place + "' >&2"), "0") << obstacle;
        EXPECT_EQ(run(isSame), "0") << obstacle;
    }
}

TEST_F(Trace, GoesWithoutItsFile) {
    put("conf", "Enabled=1\nCycle=1");
    const std::string shell = "echo login | KSIGIL_PCSC=none $shell 2>&1";
    const std::string output = run(shell);
    for (const char* loss : {"export TMPDIR=/absent; ", "ulimit -f 0; "}) {
        EXPECT_EQ(run(loss + shell), output) << loss;
    }
    EXPECT_EQ(run("mkdir sub; TMPDIR=$PWD/sub $self 'rm -r sub' >&2; ls"), "conf/qvsh.log/0");
    EXPECT_EQ(run("$self 'rm qvsh.log' >&2; stat -c %a qvsh.log"), "600/0");
}

TEST(Assertion, AsksTheGateBehindItsLineAndRunsExitHandlers) {
    assertionAsks([] { return std::fputs("asked", stderr) < 0; });
    EXPECT_EXIT((std::atexit([] { std::fputs(", ended", stderr); }), assertionFailed("x", "f", 71)),
                testing::ExitedWithCode(1),
                "^Assertion failed: x at file: f at line: 71\nasked, ended$");
}

// A role is one of these words, two numbers, or a command to be run between two cuts.
void play(const std::string& role) {
    const auto writeLines = [] {
        for (u32 i = 0; i < 1000; ++i) {
            logEvent("thread", "at ", i);
        }
    };
    if (role == "calls") {
        makeOtherCalls();
    } else if (role == "threads") {
        std::jthread threads[8];
        std::generate_n(threads, 8, [&] { return std::jthread(writeLines); });
    } else if (role[2] == ',') {
        fill(static_cast<u32>(std::stoul(role)), static_cast<u32>(std::stoul(role.substr(3))));
    } else {
        fill(45, 0);
        static_cast<void>(!std::system(role.c_str()));
        writeLines();
    }
}

}  // namespace

// With --role it is a program that the tests run.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    return argc == 3 ? (play(argv[2]), 0) : RUN_ALL_TESTS();
}
