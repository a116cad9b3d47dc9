#include <gmock/gmock.h>
#include <pty.h>
#include <termios.h>

#include <chrono>
#include <optional>
#include <random>
#include <thread>

#include "tests/toolbox/process.h"
#include "tests/toolbox/scratch_image.h"

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

// An object of an exported tree.
struct Item {
    std::string path;
    const char *type, *attribute;
    std::string content;
};

// The program in a folder with a fresh token, that of the right password and of a wrong one.
struct Ksigil : testing::Test, ScratchFolder {
    Ksigil() {
        putFreshImage(file("token.db"));
        ::put(file("pw"), "1234\n");
        ::put(file("bad"), "4321\n");
    }

    std::string setup() const {
        return "cd " + path() +
               "; export KSIGIL_PCSC=embedded KSIGIL_TOKEN=$PWD/token.db K=" KSIGIL
               "; P='--password-file pw' W='timeout --preserve-status -k 9 -s'; ";
    }

    std::string run(const std::string& commands) const {
        return ::run("exec 2>&1; " + setup() + commands);
    }

    // What the commands are said to write, a regular expression, with the status behind it.
    void expect(const std::string& commands, const std::string& said) const {
        EXPECT_THAT(run(commands), ContainsRegex("^" + said + "$")) << commands;
    }

    // What a file on the token holds; nothing if it isn't there.
    std::string contentAt(const std::string& path) const {
        run("rm -f got; $K get " + path + " got $P");
        return contentOf(file("got"));
    }

    // A folder as it is exported.
    void putTree(const std::string& name, const std::vector<Item>& items) const {
        std::filesystem::create_directories(file(name));
        std::string objects;
        for (const Item& item : items) {
            std::string place = name;
            for (std::size_t at = 0; at < item.path.size(); at += 4) {
                place += '/' + item.path.substr(at, 4);
            }
            const std::string type = item.type;
            if (type == "directory") {
                std::filesystem::create_directory(file(place));
            } else {
                ::put(file(place + (type == "key" ? ".key" : "")), item.content);
            }
            objects += (objects.empty() ? "{\"path\":\"" : ",{\"path\":\"") + item.path +
                       "\",\"type\":\"" + type + "\",\"attribute\":\"" + item.attribute +
                       "\",\"size\":" + std::to_string(item.content.size()) + '}';
        }
        ::put(file(name + "/ksigil.json"), R"({"version":1,"objects":[)" + objects + "]}");
    }
};

// 4 directories, 196 files with every byte value and of all lengths that matter, and a key.
std::vector<Item> manyItems() {
    std::vector<Item> items;
    for (int i = 0; i < 200; ++i) {
        const int directory = i / 50;
        const std::string parent = "f00" + std::to_string(directory);
        const char* const attribute = directory % 2 == 0 ? "public" : "private";
        if (i % 50 == 0) {
            items.push_back({parent, "directory", attribute, ""});
            continue;
        }
        const std::size_t size = i == 1   ? 0
                                 : i == 2 ? 65535
                                 : i == 3 ? 986
                                          : 257U + static_cast<unsigned>(i) % 7U;
        std::string content;
        for (std::size_t at = 0; at < size; ++at) {
            content += static_cast<char>(at + static_cast<std::size_t>(i));
        }
        items.push_back({parent + "0" + std::to_string(100 + i), "file", attribute, content});
    }
    items.push_back({"f0000001", "key", "one-factor", ""});
    return items;
}

// In turn, on one token.
const std::pair<const char*, const char*> sessions[] = {
    {"$K --version; $K readers; $K ls; $K --json readers",
     "ksigil [0-9.]+/VDW ifdh 0: token/"
     "[{]/  \"readers\": \\[/    [{]/      \"name\": \"VDW ifdh 0\",/      \"token\": true/    "
     "[}]/  \\]/[}]/0"},
    {"$K info",
     "Serial number: [0-9a-f]{16}/Version:       1.0/Colour:        Ice/Packages:      "
     "Delete_File_Package, PCSC_Package/Bytes in use:  0 of 262144/0"},
    {"$K mkdir 3F00A000; echo abc | $K put - 3f00a0000001 && $K --reader 'VDW ifdh 0' ls 3f00A000 "
     "-l && $K get 3f00a0000001",
     "file +public +4  0001/abc/0"},
    {"$K mkdir 3f00b000 --private --password-file pw && $K mkkey $P --two-factor 3f00b0000002 && "
     "printf 0123456789abcdef | $K mkkey 3f000003 --value-from - && $K ls -R",
     "3f00/\\|-- a000/\\|   `-- 0001/\\|-- b000/\\|   `-- 0002/`-- 0003/0"},
    {"printf Z | $K put - 3f00a0000001 --offset 1; $K get 3f00a0000001 --offset 1 --length 2; "
     "$K info 3f00b0000002",
     "ZcPath:      3f00b0000002/Type:      key/Attribute: two-factor/"
     "Size:      24/0"},
    {"echo longer | $K put - 3f00a0000001; echo longer | $K put --force - 3f00a0000001; "
     "$K get 3f00a0000001; $K ls 3f00a000; echo x | $K put --force --in-place - 3f00a0000001; "
     "$K get 3f00a0000001 --json | grep cont",
     "ksigil: 3f00a0000001 exists already: --force "
     "replaces it; nothing was changed/ksigil: until .* in 3f00a000fffe/longer/0001/"
     "  \"content\": \"780a\"/0"},
    {"printf abc | $K encrypt 3f000003 - e; od -An -tx1 e; $K decrypt 3f000003 e; stat -c %a e; "
     "$K decrypt 3f000003 e d; stat -c %a d; printf abc | $K encrypt --protector",
     " 21 fe 30 3c 99 7c a5 6e/abc644/600/ksigil: cannot encrypt: .*\\(0xe0130001\\)/1"},
    {"$K prepare; $K prepare; printf abc | $K encrypt --protector | $K decrypt --protector; "
     "$K entries; $K entries set 00000001 ab\\ d && $K entries get 00000001; $K entries remove "
     "00000001; $K entries get 00000001",
     "application entry 30003000: made/3f003000 directory: "
     "made/3f0030000001 key: made/application entry 30003000: was there/3f003000 directory: was "
     "there/3f0030000001 key: was there/abc30003000  33303030  3000/00000001  61622064  ab d/"
     "ksigil: cannot read the application's entry: .*\\(0x00000057\\)/1"},
    {"$K rm 3f00a000", "ksigil: cannot remove 3f00a000: .*\\(0xe0066406\\)/1"},
    {"$K rm 3f00; $K rm -r 3f00", "(ksigil: 3f00 is all .*/){2}2"},
    {"$K rm -r 3f00 --force --json $P | grep done; $K ls", "      \"done\": \"removed\"/0"},
    {"$K ls -R --json 3f009999; ln -s /dev/full full.tar; $K export --json full.tar",
     "ksigil: cannot look at 3f009999: [^{]*/ksigil: cannot write full.tar: [^{]*/1"},
    {"$K foo; $K ls --foo; $K entries foo",
     "ksigil: \"foo\" is no command; .*import/ksigil: \"--foo\" is no option; usage: ksigil ls "
     ".*/ksigil: \"foo\" is no command; the commands are list, .*/2"},
    {"$K get 3f009999; $K get 3f00",
     "ksigil: cannot look at 3f009999: there is nothing at that path "
     "\\(0xe0066407\\)/ksigil: 3f00 is a directory: .*/1"},
    {"$K --reader none ls", "ksigil: cannot open the reader: .*\\(0x80100009\\)/1"},
    {"$K info >/dev/full; $K --help >/dev/full; $K readers >&-",
     "(ksigil: cannot write standard "
     "output: .*/){3}1"},
    {"for a in ls\\ 3f0 ls\\ 3f00g000 put\\ -\\ 3f000001\\ --password-file\\ - nothing '' "
     "'get 3f000001 --offset 65536' 'put - 3f000001 --offset 1 --force' 'encrypt --protector a b "
     "c' "
     "'decrypt' 'put - 3f000001 --in-place' 'export - --json'; do $K $a >/dev/null 2>&1; echo $?; "
     "done",
     "(2/){11}0"},
    {"ldd $K | grep -c 'libarchive\\|libksigil'", "1/0"}};

TEST_F(Ksigil, DoesWhatItsWordsSay) {
    for (const auto& [commands, said] : sessions) {
        expect(commands, said);
    }
}

TEST_F(Ksigil, HasItsWordsInAllPlaces) {
    expect(
        "for w in $($K --help | sed '1,/^Subcommands/d; s/^ *//; s/ .*//'); do for f in "
        "man/ksigil.1 "
        "completions/ksigil; do grep -qw -- $w " ROOT "/$f || echo $w $f; done; done",
        "0");
    expect("bash -c 'source " ROOT
           "/completions/ksigil; for l in \"put p\" \"get p\" \"--reader ls l\" \"entries s\" "
           "\"--password-file = p\" \"encrypt --protector p\"; do COMP_WORDS=(ksigil $l); "
           "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _ksigil ksigil ${COMP_WORDS[-1]}; echo "
           "${COMPREPLY[*]}; done'",
           "pw//ls login logout/set/pw/pw/0");
}

TEST_F(Ksigil, TakesAnyBytesAndRefusesWhatDoesNotFit) {
    expect(
        "head -c 65535 /dev/urandom >'most of it'; : >none; head -c 70 /dev/zero >zeros; n=0; "
        "for f in 'most of it' none zeros; do n=$((n+1)); $K put \"$f\" 3f00000$n; $K get "
        "3f00000$n "
        "got; cmp got \"$f\"; done; $K put zeros 3f000004 --private $P; ln -s got way; "
        "$K get 3f000004 way $P; stat -c %a got; cmp got zeros; test -L way",
        "600/0");
    const std::string before = run("$K --json ls; $K info");
    expect("head -c 65536 /dev/zero | $K put - 3f000005",
           "ksigil: standard input has more than 65535 .*1");
    expect("$K put pw 3f003fff", "ksigil: cannot make 3f003fff: .*nothing was changed/1");
    expect("$K put zeros 3f000003 --offset 1",
           "ksigil: 3f000003 has 70 bytes, .*nothing was changed/1");
    expect("$K put pw 3f000003 --private --force",
           "ksigil: 3f000003 is public.*nothing was changed/1");
    expect("head -c 15 zeros | $K mkkey 3f000005 --value-from -", "ksigil: a key's value .*15/1");
    EXPECT_EQ(run("$K --json ls; $K info"), before);
    expect(
        "for n in 6 7; do $K put 'most of it' 3f00000$n; done; $K put --force 'most of it' "
        "3f000001",
        "ksigil: the token has 65399 bytes free, and 65535 are .*--in-place; nothing was "
        "changed/1");
    expect("$K put --in-place --force zeros 3f000001; $K get 3f000001 | cmp - zeros", "0");
}

// The connection of the test keeps the token powered between the runs.
TEST_F(Ksigil, AsksForOnePasswordAndLogsOut) {
    expect("echo secret | $K put - 3f000001 --private $P", "0");
    token::Slot slot({file("token.db"), false});
    const auto connection = connectionTo(slot);
    const auto isLoggedIn = [&] {
        answer(*connection, frameOf("a4", "0002003f0100"));
        return answer(*connection, frameOf("b0", "00000000")) == "0090";
    };
    const std::string count = TOOL " show | grep Failed; ";
    for (const auto& [commands, said] :
         {std::pair{"$K get 3f000001 $P", "secret/0"},
          {"echo 1234 | $K get 3f000001 --password-file -", "secret/0"},
          {"$K get 3f000001 --password-file none", "ksigil: cannot open none: .*\\(2\\)/1"},
          {"$K rm -r 3f000001 --password-file /dev/null", "ksigil: there is no password in .*1"},
          {"setsid -w $K get 3f000001", "ksigil: the password is wanted, .*--password-file/1"},
          {"$K get 3f000001 --offset 9 $P; $K get 3f000001 --length 99 $P", "ksigil: .*640b\\)/1"},
          {"$K get 3f000001 $P | :; $K get 3f000001 $P >/dev/full", ".*No space left.*/1"},
          {"mkfifo f.tar; $W INT 1 $K get 3f000001 f.tar $P; $W TERM 1 $K export f.tar $P",
           "(ksigil: ended by a signal; the work on the token is done/){2}1"},
          {"printf 0123456789abcdef | $K mkkey 3f000002 --two-factor --value-from - $P; head -c "
           "9000000 /dev/zero | $W QUIT "
           "1 $K encrypt 3f000002 - out $P",
           "ksigil: cannot encrypt: ended by a signal .*/131"},
          {"echo next >new; $K passwd $P --new-password-file new; cp new pw; $K get 3f000001 $P",
           "secret/0"}}) {
        expect(commands, said);
        EXPECT_FALSE(isLoggedIn()) << commands;
    }
    expect(
        "$K get 3f000001 --password-file bad; " + count,
        "ksigil: cannot log in: the password is wrong, or blocked \\(0xe0066982\\)/Failed logins: "
        "1/0");
    expect("$K login --password-file pw; $K get 3f000001", "secret/0");
    EXPECT_TRUE(isLoggedIn());
    expect("$K logout", "0");
    EXPECT_FALSE(isLoggedIn());
}

// A terminal with a shell in it that runs the program.
class Screen {
  public:
    explicit Screen(const std::string& commands) {
        id_ = forkpty(&terminal_, nullptr, nullptr, nullptr);
        if (id_ == 0) {
            execl("/bin/sh", "sh", "-c", commands.c_str(), nullptr);
            _exit(127);
        }
    }
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;
    ~Screen() {
        if (id_ > 0) {
            kill(id_, SIGKILL);
            waitpid(id_, nullptr, 0);
        }
        close(terminal_);
    }

    void type(const std::string& text) const {
        EXPECT_EQ(write(terminal_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    // All that is shown from now on until `text` is, or the end.
    std::string await(const std::string& text) const {
        std::string shown;
        char byte = 0;
        pollfd ready{terminal_, POLLIN, 0};
        while (shown.find(text) == std::string::npos && poll(&ready, 1, 10000) == 1 &&
               read(terminal_, &byte, 1) == 1) {
            shown += byte;
        }
        return shown;
    }

    bool echoes() const {
        termios now{};
        tcgetattr(terminal_, &now);
        return (now.c_lflag & ECHO) != 0;
    }

  private:
    pid_t id_ = -1;
    int terminal_ = -1;
};

TEST_F(Ksigil, AsksAndShowsAtATerminal) {
    expect("printf 'a secret of 19 byte' | $K put - 3f000001 --private $P; $K prepare >all", "0");
    const Screen asked(setup() + "$K get 3f000001; echo is $?; $K passwd; echo is $?; $K logout");
    EXPECT_THAT(asked.await("Password: "), HasSubstr("Password: "));
    EXPECT_FALSE(asked.echoes());
    asked.type("1234\n");
    EXPECT_THAT(
        asked.await("is 0"),
        AllOf(HasSubstr("00000000  61 20 73 65 63 72 65 74  20 6f 66 20 31 39 20 62  a secret of "
                        "19 b\r\n00000010  79 74 65"),
              Not(HasSubstr("1234"))));
    asked.await("New password: ");
    asked.type("one\n");
    asked.await("again: ");
    asked.type("two\n");
    EXPECT_THAT(asked.await("is 1"), HasSubstr("differ"));

    const Screen ended(setup() + "$K get 3f000001; echo is $?; sleep 9");
    ended.await("Password: ");
    ended.type("12\003");
    EXPECT_THAT(ended.await("is 1"), HasSubstr("ended by a signal (0x80100002)"));
    EXPECT_TRUE(ended.echoes());

    // Longer than half a second, the lock given back, and of the bar nothing left.
    ::put(file("long"), std::string(4000000, 'x'));
    const Screen worked(setup() +
                        "$K encrypt --protector long out; echo is $?; ls out; $K ls; sleep 9");
    EXPECT_THAT(worked.await(" %"), ContainsRegex("\\[ *#* *\\] [0-9]+ %"));
    worked.type("\003");
    EXPECT_THAT(worked.await("fffe"),
                AllOf(HasSubstr("\r" + std::string(48, ' ') + "\r"),
                      HasSubstr("cannot encrypt: ended by a signal (0x80100002)")));
}

TEST_F(Ksigil, BringsATreeBackAsItWas) {
    putTree("tree", manyItems());
    expect("$K import tree $P", "ksigil: keys have no values; remove them.*: 3f00f0000001/0");
    expect("$K export one $P && diff -r -x ksigil.json tree one; stat -c %a one one/f000/0101",
           "ksigil: the values of keys stay on the token: 3f00f0000001/700/600/0");
    expect(
        "$K export one.tar $P 2>/dev/null; stat -c %a one.tar; $K rm -r --force 3f00 $P; $K ls; "
        "$K import - $P <one.tar >said 2>&1; $K export two $P 2>said; diff -r one two; "
        "$K export - $P 2>said | cmp - one.tar",
        "600/0");
    expect("$K import two $P", "ksigil: 3f00f000 exists already: --force .*nothing was changed/1");
    expect(
        "$K rm 3f00f0000102; echo x | $K put --force - 3f00f0000104 2>said; $K import one.tar "
        "--force $P "
        "2>said | grep -v 'was there'; for d in aaaa aaab; do $K mkdir 3f00$d; $K import two "
        "3f00$d $P; "
        "done",
        "3f00f0000102 file: made/3f00f0000104 file: replaced/ksigil: keys .*/ksigil: the token has "
        ".*nothing was "
        "changed/1");
    // What is told is what the token has.
    putTree("hidden", {{"00d1", "directory", "private", ""}});
    expect("$K mkdir 3f0000d1; $K import hidden --force --json | grep -o 'attribute.*'",
           "attribute\": \"public\",/attribute\",?/0");
    expect("$K export one $P; mkdir old; $K export old 3f00aaaa $P 2>said; ls old",
           "ksigil: one exists .*/f000/f001/f002/f003/ksigil.json/0");
}

// Made of a folder `t` and its tar file `t.tar`: what is refused before anything changes.
const std::pair<const char*, const char*> hostile[] = {
    {"ln -s 0101 t/f000/0f01", "is a link"},
    {"rm t/f000/0101; ln -s /etc/passwd t/f000/0101", "is a link"},
    {"ln t/f000/0101 t/f000/0f01", "second name"},
    {"mkfifo t/f000/0f01", "a pipe"},
    {"touch t/notes", "is no name"},
    {"mkdir t/f000/123", "is no name"},
    {"mkdir t/f000/ABCD", "is not in the tree's"},
    {"rm t/ksigil.json", "there is no ksigil.json"},
    {"rm t/f000/0101", "0101 is missing"},
    {"rm -r t/f003", "f003 is missing"},
    {"echo more >>t/f000/0101", "0101 is missing, or not as"},
    {"echo x >t/f000/0001.key", "more than 0 bytes"},
    {"truncate -s 65536 t/f000/0102", "more than 65535 bytes"},
    {"mkdir $(seq -f t/f000/%04g 3000 7200)", "more than 4096"},
    {"sed -i 's/file/device/' t/ksigil.json", "is none"},
    {"sed -i 's/public/one-factor/' t/ksigil.json", "is none"},
    {"sed -i 's/f000\"/..\"/' t/ksigil.json", "is none"},
    {"sed -i 's/65535/65536/' t/ksigil.json", "is none"},
    {"sed -i 's/f0000102/f0000103/' t/ksigil.json", "twice"},
    {"printf '%0999999d' 0 | tr 0 '[' >t/ksigil.json", "nested too deep"},
    {"echo '{\"version\":2}' >t/ksigil.json", "another version"},
    {"sed -i 's/:1,/:1.9,/' t/ksigil.json", "another version"},
    {"sed -i 's/:986/:986.0/' t/ksigil.json", "is none"},
    {"sed -i 's/:986/:18446744073709551616/' t/ksigil.json", "is none"},
    {"sed -i 's/:986/:986,\"size\":986/' t/ksigil.json", "a name twice"},
    {"head -c 9999 t/ksigil.json >x; cp x t/ksigil.json", "ksigil.json is none"},
    {"tar cPf t.tar --transform 's,^t/f001,/f001,' t", "is no name"},
    {"tar cPf t.tar --transform 's,^t,..,' t", "is no name"},
    {"cd t; ln -s 0101 f000/0f01; tar cf ../t.tar .; cd ..", "is a link or a device"},
    {"cd t; ln f000/0101 f000/0f01; tar cf ../t.tar .; cd ..", "is a link or a device"},
    {"cd t; mkfifo f000/0f01; tar cf ../t.tar .; cd ..", "is a link or a device"},
    {"cd t; tar cf ../t.tar . ./f000/0101; cd ..", "is there twice|a link"},
    {"cd t; tar czf ../t.tar .; cd ..", "cannot read t.tar"},
    {"cd t; tar c . | head -c 90000 >../t.tar; cd ..", "cannot read t.tar"},
    {"echo hello >t.tar", "cannot read t.tar"},
    {": >t.tar", "cannot read t.tar"}};

TEST_F(Ksigil, ImportsNothingThatExportDoesNotMake) {
    putTree("tree", manyItems());
    run("$K mkdir 3f001000; $K put pw 3f0010000001");
    for (const auto& [damage, said] : hostile) {
        EXPECT_THAT(
            run("rm -rf t t.tar x; cp -r tree t; { " + std::string(damage) +
                "; } 2>said; s=t; "
                "test -f t.tar && s=t.tar; timeout 20 $K import $s --force $P; echo $?; $K ls -R"),
            ContainsRegex("^ksigil: .*(" + std::string(said) +
                          ").*/1/3f00/`-- 1000/    `-- 0001/0$"))
            << damage;
    }
    expect(
        "cd tree && tar cf ../t.tar . && cd .. && $K import t.tar $P >/dev/null 2>&1 && $K ls "
        "3f00f002 "
        "| wc -l",
        "49/0");
}

TEST_F(Ksigil, SeesBeforehandWhatTheTokenWouldRefuse) {
    putTree("reserved",
            {{"3000", "directory", "public", ""}, {"30003fff", "key", "one-factor", ""}});
    putTree("guarded", {{"3000", "file", "public", ""}, {"3001", "key", "two-factor", ""}});
    std::vector<Item> most{{"1000", "key", "one-factor", ""}};
    for (int id = 1001; id < 1000 + 1024; ++id) {
        most.push_back({std::to_string(id), "file", "public", ""});
    }
    putTree("most", most);
    most.back().content = "x";
    putTree("other", most);
    expect("$K --json import reserved; setsid -w $K --json import guarded; $K ls",
           "ksigil: 3f0030003fff has an id .*nothing was changed/ksigil: the password is "
           "wanted.*nothing was changed/0");
    // Keys without values are named wherever it ends.
    const std::string named = "ksigil: keys have no values; .*: 3f001000/";
    expect(
        "(ulimit -f 300; $K import most); $K import most --force >said; $K ls | wc -l",
        named + "ksigil: cannot .* of 1024 objects are done, and --force .*/" + named + "1024/0");
    expect(
        "$K rm 3f001000; printf 0123456789abcdef | $K mkkey 3f001000 --value-from -; $K import "
        "most "
        "--force >said; $K import guarded --force $P; $K import other --force; $K put --force pw "
        "3f001001",
        "ksigil: 3f003000 finds 1024 .*nothing was changed/ksigil: 3f002023 finds 1024 .* copy: .*/"
        "ksigil: 3f00 has 1024 objects, .*--in-place; nothing was changed/1");
}

// Runs the command and kills it anywhere in the time that it takes; false if it had ended.
bool isCutOff(const std::string& command, std::chrono::microseconds longest) {
    static std::mt19937 random{20261125};
    const pid_t id = fork();
    if (id == 0) {
        setpgid(0, 0);
        execl("/bin/sh", "sh", "-c", ("exec >/dev/null; " + command).c_str(), nullptr);
        _exit(127);
    }
    std::this_thread::sleep_for(longest * std::uniform_int_distribution(0, 1000)(random) / 1000);
    kill(id, SIGKILL);
    int status = 0;
    waitpid(id, &status, 0);
    return WIFSIGNALED(status);
}

std::chrono::microseconds timeOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() -
                                                                 start);
}

TEST_F(Ksigil, LosesNoContentWhereverItIsKilled) {
    const int kills = std::getenv("KSIGIL_TEST_LONG") != nullptr ? 100 : 12;
    const std::string contents[] = {std::string(30000, 'o'), std::string(40000, 'n')};
    ::put(file("0"), contents[0]);
    ::put(file("1"), contents[1]);
    int current = 0;
    int cut = 0;
    int between = 0;  // only the copy stood whole
    expect("$K put 0 3f000001; $K put 0 3f000002 --private $P", "0");
    // A public file, and a private one by an import that merges.
    struct Replacement {
        const char *path, *command;
    };
    for (const Replacement& replacement :
         {Replacement{"3f000001", "exec $K put --force N 3f000001"},
          Replacement{"3f000002", "exec $K import tN --force $P"}}) {
        const char* const path = replacement.path;
        for (const int n : {0, 1}) {
            putTree("t" + std::to_string(n), {{"0002", "file", "private", contents[n]}});
        }
        const auto commandTo = [&](int n) {
            std::string all = replacement.command;
            all.replace(all.find('N'), 1, std::to_string(n));
            return "exec 2>&1; " + setup() + all;
        };
        current = 0;
        const auto longest = timeOf([&] { ::run(commandTo(1)); }) * 11 / 10;
        ::run(commandTo(0));
        for (int i = 0; i < kills; ++i) {
            const int next = 1 - current;
            cut += isCutOff(commandTo(next), longest) ? 1 : 0;
            const std::string at = contentAt(path);
            const std::string copy = contentAt("3f00fffe");
            const bool isOld = at == contents[current];
            const bool isNew = at == contents[next] || copy == contents[next];
            EXPECT_TRUE(isOld || isNew) << path << ", kill " << i;
            between += !isOld && at != contents[next] ? 1 : 0;
            // As the manual says.
            if (!isOld && at != contents[next]) {
                expect("$K get 3f00fffe whole $P; $K rm 3f00fffe $P; $K rm " + std::string(path) +
                           " $P >/dev/null 2>&1; $K put whole " + path +
                           (path[7] == '2' ? " --private $P" : ""),
                       "0");
                current = next;
            } else {
                run("$K rm 3f00fffe $P");
                current = isOld ? current : next;
            }
        }
    }
    EXPECT_GT(cut, kills / 2);
    EXPECT_TRUE(between > 0 || kills < 100) << cut;
    RecordProperty("between", between);
}

TEST_F(Ksigil, MakesATreeWholeWhereverItsImportIsKilled) {
    const int kills = std::getenv("KSIGIL_TEST_LONG") != nullptr ? 100 : 8;
    // All public: nearly all of a run's time would be that of a login.
    std::vector<Item> items{{"1000", "directory", "public", ""},
                            {"10000001", "key", "one-factor", ""},
                            {"10000002", "directory", "public", ""}};
    for (int id = 1000; id < 1100; ++id) {
        const std::string content(static_cast<std::size_t>(id % 5) * 700, static_cast<char>(id));
        items.push_back({"10000002" + std::to_string(id), "file", "public", content});
    }
    putTree("tree", items);
    const std::string import = "exec 2>&1; " + setup() + "exec $K import tree --force";
    const auto longest = timeOf([&] { ::run(import); }) * 11 / 10;
    run("$K ls -lR | sort >whole");
    int parts = 0;
    for (int i = 0; i < kills; ++i) {
        run("$K rm -r --force 3f00");
        isCutOff(import, longest);
        const auto there = std::stol(run("$K ls -R | wc -l")) - 1;
        parts += there > 0 && there < std::ssize(items) ? 1 : 0;
        expect(
            "$K import tree --force >said; $K ls -lR | sort | cmp - whole; rm -rf out; $K "
            "export out 2>said; diff -r -x ksigil.json tree out",
            "(ksigil: until .*/)?ksigil: keys have no values; .*: 3f0010000001/0");
    }
    EXPECT_TRUE(parts > kills / 20 || kills < 100) << "the kills came too early or too late";
    RecordProperty("parts", parts);
}

}  // namespace
