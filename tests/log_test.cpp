#include "include/log.h"

#include <gmock/gmock.h>

#include "platform/win32.h"
#include "tests/toolbox/programs.h"

using namespace ksigil;

namespace {

using testing::MatchesRegex;

struct Trace : Programs {
    // Runs programs as in Programs; $self is the one of log_roles.
    std::string run(const std::string& commands) const {
        return Programs::run("self='timeout 20 " ROLES "'; " + commands);
    }

    // The lines behind their process and thread.
    std::string trace() const {
        std::istringstream lines(contentOf(file("qvsh.log")));
        std::string all;
        for (std::string line; std::getline(lines, line); all += line.substr(20) + '\n') {
            EXPECT_THAT(line, MatchesRegex("[1-9][0-9 ]{8} [1-9][0-9 ]{8} [^ ].*"));
        }
        return all;
    }
};

// The same on any system, with the programs of Windows, under Wine, where KSIGIL_WINDOWS names
// their folder.
struct TraceAnywhere : Trace {
    const bool isWindows = std::getenv("KSIGIL_WINDOWS") != nullptr;

    std::string run(const std::string& commands) const {
        return Trace::run(
            (isWindows ? "self=\"timeout 60 $KSIGIL_WINE $KSIGIL_WINDOWS/tests/log_roles.exe\"; "
                       : "") +
            commands);
    }

    // Lines of NAME=VALUE. In the registry a value is a number if it can be one.
    void configure(const std::string& text) {
        const std::string key = "HKEY_LOCAL_MACHINE\\Software\\Veldane\\kSigil\\Logging]\n";
        std::ostringstream values;
        values << "REGEDIT4\n\n[-" << key << "[" << key << "\"Path\"=\"Z:" << path() << "\"\n"
               << std::hex;
        std::istringstream lines(text);
        for (std::string name, value; std::getline(std::getline(lines, name, '='), value);) {
            const bool isNumber = value.find_first_not_of("0123456789") == std::string::npos;
            values << '"' << name << "\"=";
            isNumber ? values << "dword:" << std::stoul(value) : values << '"' << value << '"';
            values << '\n';
        }
        put("conf", isWindows ? values.str() : text);
        EXPECT_EQ(isWindows ? run("$KSIGIL_WINE regedit conf") : "0", "0");
    }
};

const std::string staticLine = "static    : \n";

std::string entered(const std::string& label) {
    return label + ": entered\n";
}

// Lines of one of a talker's functions.
std::string tells(const std::string& label, std::initializer_list<std::string> lines) {
    std::string all;
    for (const std::string& line : lines) {
        all += "RMApduTalker::" + label + ": " + line + "\n";
    }
    return all;
}

// An operation of a talker, with what is traced inside it.
std::string talks(const std::string& label, const std::string& inside, const std::string& rv) {
    return tells(label, {"entered"}) + inside + tells(label, {"exited: rv = " + rv});
}

// An operation of a service, likewise.
std::string serves(const std::string& label, const std::string& rv, const std::string& inside) {
    return entered(label) + inside + label + ": exited, rv= " + rv + "\n";
}

std::string files(const std::string& label, const std::string& rv, const std::string& inside) {
    return serves("QVFileSystem::" + label, rv, inside);
}

std::string recordMade(int index) {
    return tells("getContext",
                 {"entered", "not found", "created: index: " + std::to_string(index)});
}

const std::string recordFound = tells("getContext", {"entered", "found, index = 0"});
const std::string recordMissing = tells("getContext", {"entered", "not found"});
const std::string grabbed = tells("lock", {"** RM lock", "** RM lock, grabbed"});
const std::string released = tells("unlock", {"** RM unlock", "** RM unlock, released"});
const std::string firstLock = talks("lock()", recordMade(0) + grabbed, "0");
const std::string lock = talks("lock()", recordFound + grabbed, "0");
const std::string unlock = talks("unlock()", recordFound + released, "0");
const std::string exchange = talks("transmit()", recordFound, "0");
const std::string select = files("selectPath", "0", exchange);
const std::string selectMissing = files("selectPath", "e0066407", exchange);
const std::string made = tells("RMApduTalker()", {"entered", "exited: "});
const std::string create = talks("create()", tells("create", {"first creator"}), "0");
const std::string ended = tells("~RMApduTalker()", {"entered", "last in process", "exited: "});
const std::string sent = select + exchange;
const std::string deletion = files("deletePath", "0", sent);

std::string creates(const std::string& label) {
    return files(label, "0", files("create", "0", sent));
}

const std::string absent = files("isFileExists", "0", selectMissing);
const std::string there = files("isFileExists", "0", select);
const std::string writes = files("writeFile", "0", sent);
const std::string noEntries =
    serves("readAppEntryFile", "e0066407", files("getFileInfo", "e0066407", selectMissing));
const std::string entries = serves(
    "readAppEntryFile", "0", files("getFileInfo", "0", select) + files("readFile", "0", sent));
const std::string noEntry = serves("isAppEntryExist", "0", noEntries);

// The whole of a fresh token's preparation, under its lock.
const std::string prepared =
    noEntry + noEntries + exchange +
    serves("QVProtector::create", "0",
           serves("QVProtector::initialize", "0",
                  noEntry +
                      serves("findNextDirectory", "0",
                             files("dir", "0", files("directoryPath", "0", sent))) +
                      serves("set_kSAppEntry", "0",
                             noEntries + serves("writeAppEntryFile", "0",
                                                files("del", "e0066407", selectMissing) +
                                                    creates("createFile") + writes)) +
                      absent + "QVProtector::create(): creating: 3f003000\n" +
                      creates("createDirectory") + absent +
                      "QVProtector::create(): creating key: 3f0030000001\n" +
                      creates("createFile") + writes)) +
    serves("isAppEntryExist", "0", entries) + serves("get_kSAppEntry", "0", entries) + there +
    there;

// What is typed, and its trace between the lock and its release.
const std::string twoChildren = files("directoryPath", "0", sent + select + select);
const std::pair<std::string, std::string> session[] = {
    {"login 1234", entered("QVPassword::login") + exchange},
    {"changepw Pass.word", entered("QVPassword::changePassword") + exchange},
    {"md 3f001000 PUB", creates("createDirectory")},
    {"mk 3f0010000001 1F", creates("createFile")},
    {"wk 3f0010000001 0123456789abcdef", writes},
    {"dx 3f0010000001 E 3f00beef", files("desx", "0", sent + exchange)},
    {"mf 3f002000 4 PRV", creates("createFile")},
    {"w 3f002000 0 3f00", writes},
    {"r 3f002000 0 4", files("readFile", "0", sent)},
    {"ls 3f00", files("dir", "0", twoChildren)},
    {"lfs 3f00", files("listFiles", "0", twoChildren)},
    {"ld 3f00", files("listDirectories", "0", twoChildren)},
    {"i 3f0", files("getFileInfo", "80070057", files("selectPath", "80070057", ""))},
    {"pr E abc", serves("QVProtector::operation", "e0130001",
                        serves("QVProtector::initialize", "e0130001", noEntry + there + absent))},
    {"rm 3f001000",
     files("del", "0", select + files("directoryPath", "0", sent + select) + deletion + deletion)},
    {"logout", entered("QVPassword::logout") + exchange}};

TEST_F(Trace, TellsAWholeSession) {
    put("conf", "# on\nEnabled=1\n");
    std::string input;
    std::string expected = made + create;
    for (const auto& [typed, trace] : session) {
        expected += (input.empty() ? firstLock : lock) + trace + unlock;
        input += typed + " ";
    }
    expected += ended;
    put("input", input + "exit");
    // Started without its streams, the program must not take the trace for one of them.
    for (const std::string streams : {"2>&1", ">&- 2>&-"}) {
        run("rm -f token.db; $shell <input " + streams);
        EXPECT_EQ(trace(), expected) << streams;
    }
    EXPECT_EQ(run("stat -c %a qvsh.log; rm token.db; " QVPREPARE " any >&2"), "600/0");
    EXPECT_EQ(trace(), made + create + firstLock + prepared + unlock + ended);
    put("conf", "");
    run("$shell <input");
    EXPECT_EQ(trace(), "");
}

TEST_F(TraceAnywhere, TellsTheOtherCalls) {
    std::string told =
        talks("lock()", tells("getContext", {"entered", "no mapping"}), "-2147467259") + create +
        talks("create()", "", "0") + talks("unlock()", recordMissing, "-2146435049") +  // no card
        firstLock + talks("lock()", recordFound + tells("lock", {"** lockCount = 1"}), "0") +
        talks("unlock()", recordFound + tells("unlock", {"** lockCount = 2"}), "0") +
        talks("unlock()", recordFound + tells("unlock", {"** RM unlock"}), "6") +
        tells("detach()", {"entered"}) + recordFound + tells("detach()", {"exited: "}) +
        talks("unlock()", recordMade(0) + tells("unlock", {"card already unlocked"}), "0") +
        talks("reconnect()", recordFound, "0") +
        files("readFile (entire)", "80070057", files("selectPath", "80070057", "")) +
        serves(
            "remove_kSAppEntry", "80100013",
            serves("readAppEntryFile", "80100013",
                   files("getFileInfo", "80100013", files("selectPath", "80100013", exchange)))) +
        serves("QVProtector::maxOperationLength", "0", "");
    for (int i = 1; i < 64; ++i) {
        told += recordMade(i);
    }
    told += recordMissing + tells("getContext", {"Reader Context full"});
    configure("Enabled=1");
    EXPECT_EQ(run("$self calls"), "0");
    EXPECT_EQ(trace(), staticLine + made + told + ended + staticLine);
}

TEST_F(Trace, TellsWhatAStaticTalkerDoesBehindMain) {
    put("conf", "Enabled=1");
    EXPECT_EQ(run("$self static 2>&1"), "0");
    EXPECT_EQ(trace(), staticLine + made + create + firstLock + ended + staticLine);
}

TEST_F(TraceAnywhere, IsOnWhereEnabledIsTheNumberOne) {
    for (const std::string text :
         {"Enabled=1", "Enabled=2", "Enabled=1x", "Cycle=1", "Enabled=1"}) {
        configure(text);
        run("rm -f qvsh.log; $self");
        EXPECT_EQ(trace(), text == "Enabled=1" ? staticLine + staticLine : "") << text;
        EXPECT_EQ(run("ls qvsh.log"), "qvsh.log/0");
    }
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

TEST_F(TraceAnywhere, IsCutToItsLastTenthAboveTheLimit) {
    for (const std::string cycle : {"Cycle=1", "", "Cycle=0", "Cycle=4194305", "Cycle=1x"}) {
        configure("Enabled=1\n" + cycle);
        EXPECT_EQ(run("$self 31,1; $self 31,12; $self 45,1234567890; stat -c %s qvsh.log"),
                  cycle == "Cycle=1" ? "1024 1024 1|1025 102 1|1495 149 1|182/0"
                                     : "1024 1024 1|1025 1025 1|1495 1495 1|1528/0");
    }
}

TEST_F(TraceAnywhere, KeepsTheLinesOfManyThreadsWhole) {
    for (const int cycle : {0, 16}) {
        configure("Enabled=1\nCycle=" + std::to_string(cycle));
        EXPECT_EQ(run("$self threads"), "0");
        std::istringstream lines(contentOf(file("qvsh.log")));
        std::string line;
        std::getline(lines, line);  // a cut may have halved it
        std::set<std::string> whole, processes, threads;
        const auto isWhole = MatchesRegex("[0-9 ]{20}(thread    : at [0-9]+|static    : )");
        while (std::getline(lines, line)) {
            EXPECT_THAT(line, isWhole);
            EXPECT_TRUE(whole.insert(line).second) << line;
            processes.insert(line.substr(0, 10));
            threads.insert(line.substr(10, 10));
        }
        EXPECT_EQ(processes.size(), 1U);
        EXPECT_GT(threads.size(), 1U);
        const testing::Matcher<std::size_t> all(8001U), few(testing::Lt(500U));
        EXPECT_THAT(whole.size(), cycle == 0 ? all : few);
    }
}

TEST_F(Trace, TouchesNoFileButItsOwn) {
    const std::string look = "{ stat -c '%N %F %a %h %u %s' qvsh.log victim absent; cat victim; } ";
    const std::string isSame = look + ">after 2>&1; cmp before after";
    put("conf", "Enabled=1\nCycle=1");
    put("input", "ls 3f00 exit");
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

}  // namespace
