#include <gmock/gmock.h>
#include <pty.h>
#include <sys/resource.h>
#include <termios.h>
#include <vterm.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <iostream>
#include <system_error>

#include "platform/posix/embedded_resource_manager.h"
#include "shell/qv_shell.h"
#include "shell/terminal/line.h"
#include "shell/terminal/terminal.h"
#include "tests/toolbox/process.h"
#include "tests/toolbox/scratch_image.h"
#include "tests/toolbox/transcripts.h"

namespace {

using testing::EndsWith, testing::HasSubstr, testing::Not;

// The embedded token, which writes down what it is asked for: "b", the frames' instructions, "e".
class WritingManager : public platform::EmbeddedResourceManager {
  public:
    explicit WritingManager(const std::string& folder)
        : EmbeddedResourceManager({folder + "/token.db", false}),
          frames_(folder + "/frames", std::ios::app) {
        frames_ << std::unitbuf;
        platform::useResourceManager(this);
    }

    u32 begin(u32 card, std::string& why) override {
        const u32 rv = EmbeddedResourceManager::begin(card, why);
        frames_ << "b";
        return rv;
    }
    u32 end(u32 card, u32 how) override {
        frames_ << " e ";
        return EmbeddedResourceManager::end(card, how);
    }
    u32 transmit(u32 card, u32 header, const u8* frame, u32 length, u8* reply, u32& room) override {
        frames_ << " " << hexOf({frame + 1, 1});
        return EmbeddedResourceManager::transmit(card, header, frame, length, reply, room);
    }

  private:
    std::ofstream frames_;
};

// A shell at a terminal, in a foreground job of its own, as a login shell would start it.
class Sitting {
  public:
    using Setup = std::function<void()>;

    explicit Sitting(
        const std::string& folder, const Setup& setup = [] {}) {
        int reports[2];
        EXPECT_EQ(pipe(reports), 0);
        const winsize size{24, columns, 0, 0};
        leader_ = forkpty(&terminal_, nullptr, nullptr, &size);
        if (leader_ < 0) {  // a signal to process -1 would reach every process
            throw std::system_error(errno, std::generic_category(), "no terminal can be had");
        }
        if (leader_ == 0) {
            lead(folder, setup, reports[1]);
        }
        close(reports[1]);
        reports_ = reports[0];
        EXPECT_EQ(read(reports_, &shell, sizeof shell), ssize_t{sizeof shell});
        EXPECT_EQ(read(reports_, &before, sizeof before), ssize_t{sizeof before});
        fcntl(terminal_, F_SETFL, O_NONBLOCK);
        vterm_set_utf8(screen_.get(), 1);
        vterm_screen_reset(vterm_obtain_screen(screen_.get()), 1);
    }
    Sitting(const Sitting&) = delete;
    Sitting& operator=(const Sitting&) = delete;
    ~Sitting() {
        kill(shell, SIGKILL);
        kill(leader_, SIGKILL);
        waitpid(leader_, nullptr, 0);
        close(reports_);
        close(terminal_);
    }

    void type(std::string keys) {
        while (!keys.empty() && turn(POLLIN | POLLOUT)) {
            const ssize_t count = write(terminal_, keys.data(), keys.size());
            keys.erase(0, count > 0 ? static_cast<std::size_t>(count) : 0);
        }
    }

    // All that the screen shows up to the cursor's row, and to the cursor there at least.
    std::string text() const {
        VTermPos cursor;
        vterm_state_get_cursorpos(vterm_obtain_state(screen_.get()), &cursor);
        std::string all(rows * columns * 4, '\0');
        all.resize(vterm_screen_get_text(vterm_obtain_screen(screen_.get()), all.data(), all.size(),
                                         {0, cursor.row + 1, 0, columns}));
        const std::size_t length = all.size() - (all.rfind('\n') + 1);
        return all.append(std::max(static_cast<std::size_t>(cursor.col), length) - length, ' ');
    }

    // Waits until the screen ends so.
    void expect(const std::string& ending) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!text().ends_with(ending) && std::chrono::steady_clock::now() < deadline &&
               turn(POLLIN)) {
        }
        EXPECT_THAT(text(), EndsWith(ending));
    }
    void expect(const std::string& keys, const std::string& ending) {
        type(keys);
        expect(ending);
    }

    // How the shell stopped or ended, as waitpid tells it.
    int status() {
        int told = 0;
        pollfd waiting[] = {{reports_, POLLIN, 0}, {terminal_, POLLIN, 0}};
        while (poll(waiting, 2, 20000) > 0 && waiting[0].revents == 0) {
            turn(POLLIN);
        }
        EXPECT_EQ(read(reports_, &told, sizeof told), ssize_t{sizeof told});
        return told;
    }

    bool isAsBefore() const {
        termios now{};
        tcgetattr(terminal_, &now);
        return now.c_iflag == before.c_iflag && now.c_oflag == before.c_oflag &&
               now.c_cflag == before.c_cflag && now.c_lflag == before.c_lflag &&
               std::memcmp(now.c_cc, before.c_cc, sizeof now.c_cc) == 0;
    }

    void resize(unsigned short width) const {
        const winsize size{24, width, 0, 0};
        ioctl(terminal_, TIOCSWINSZ, &size);
    }

    pid_t shell = 0;
    termios before{};

  private:
    // The session's leader: starts the shell and tells what becomes of it.
    [[noreturn]] static void lead(const std::string& folder, const Setup& setup, int reports) {
        termios modes{};
        tcgetattr(STDIN_FILENO, &modes);
        const pid_t child = fork();
        if (child == 0) {
            setpgid(0, 0);
            std::signal(SIGTTOU, SIG_IGN);
            tcsetpgrp(STDIN_FILENO, getpid());
            std::signal(SIGTTOU, SIG_DFL);
            sit(folder, setup);
        }
        EXPECT_EQ(write(reports, &child, sizeof child), ssize_t{sizeof child});
        EXPECT_EQ(write(reports, &modes, sizeof modes), ssize_t{sizeof modes});
        int status = 0;
        while (waitpid(child, &status, WUNTRACED) == child) {
            EXPECT_EQ(write(reports, &status, sizeof status), ssize_t{sizeof status});
        }
        pause();
        std::_Exit(0);
    }

    [[noreturn]] static void sit(const std::string& folder, const Setup& setup) {
        setenv("TERM", "xterm", 1);
        setenv("NO_COLOR", "", 1);
        setenv("XDG_STATE_HOME", folder.c_str(), 1);
        setenv("KSIGIL_TOKEN", (folder + "/token.db").c_str(), 1);
        setenv("KSIGIL_LOGGING", (folder + "/none").c_str(), 1);
        setup();
        WritingManager manager(folder);
        int result = 0;
        {
            const ksigil::Terminal terminal;
            QVShell shell("VDW ifdh 0");
            result = shell.run();
        }
        std::cout << std::flush;
        std::_Exit(result);
    }

    // Lets the screen take what there is; false when the terminal is gone.
    bool turn(short events) {
        pollfd waiting{terminal_, events, 0};
        poll(&waiting, 1, 20000);
        if ((waiting.revents & POLLIN) != 0) {
            std::string bytes(65536, '\0');
            const ssize_t count = read(terminal_, bytes.data(), bytes.size());
            bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
            vterm_input_write(screen_.get(), bytes.data(), bytes.size());
            return count > 0;
        }
        return (waiting.revents & POLLOUT) != 0;
    }

    static constexpr int rows = 1000;  // so many that no test needs what scrolls off
    static constexpr int columns = 80;

    std::unique_ptr<VTerm, void (*)(VTerm*)> screen_{vterm_new(rows, columns), vterm_free};
    pid_t leader_ = 0;
    int terminal_ = -1;
    int reports_ = -1;
};

struct TerminalTest : testing::Test, ScratchFolder {
    TerminalTest() { putFreshImage(file("token.db")); }

    std::string takeFrames() const {
        const std::string frames = contentOf(file("frames"));
        std::filesystem::resize_file(file("frames"), 0);
        return frames;
    }
    std::string history() const { return contentOf(file("ksigil/history")); }

    token::Slot slot{{file("token.db"), false}};
};

const std::string up = "\033[A";
const std::string unknown = "There is no such word; \"help\" lists them.\n";

TEST_F(TerminalTest, GivesTheShellWholeCommands) {
    Sitting sitting(path());
    sitting.expect("-----\n>");
    // Keys, what the screen then ends with, and what went to the token.
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {"ls\n", ">ls\nPATH? ", ""},
        {"\n", ">ls\nPATH? \nGiven up. Usage: ls PATH\n>", ""},
        {"\t", "\nt         h         help      ?         exit      quit\n>", ""},
        {"md 3f0\t\t\n", ">md 3f00\nPUB or PRV? ", ""},
        {"\003", "PUB or PRV? \nGiven up. Usage: md PATH PUB|PRV\n>", ""},
        {"md 3f001000\nno\nP\tUB\n",
         "PUB or PRV? no\nPUB or PRV? P\nPUB  PRV\nPUB or PRV? PUB\nOK.\n>", "b a4 e0 e "},
        {"mf 3f0010000a0b\nx\n12 P", "SIZE? x\nSIZE? 12 P", ""},
        {"UB\n", "SIZE? 12 PUB\nOK.\n>", "b a4 e0 e "},
        {"mk 3f0010000a0c 1F\n", ">mk 3f0010000a0c 1F\nOK.\n>", "b a4 e0 e "},
        {"i 3F00\t", ">i 3F001000", "b a4 d2 a4 e "},
        {"\t", ">i 3F0010000a0", "b a4 d2 a4 a4 e "},
        {"\t", ">i 3F0010000a0\n0a0b file 12  0a0c key 24\n>i 3F0010000a0", ""},
        {"b\n", "Size     : 12\nPrivate  : No\n>", "b a4 e "},
        {"i 3f0010000a0\t", ">i 3f0010000a0\n0a0b file 12  0a0c key 24\n>i 3f0010000a0",
         "b a4 d2 a4 a4 e "},
        {"\003", ">i 3f0010000a0\n>", ""},
        {"w 3f0010000a0b 0\n", "DATA? ", ""},
        {"abc\n", "DATA? abc\nOK.\n>", "b a4 d0 e "},
        {"r 3f0010000a0b 0 3 r 3f0010000a0b 1 2x\n",
         "1 2x\nOK.\n61 62 63 \n>OK.\n62 63 \n>Syntax error.\n" + unknown + ">",
         "b a4 b0 e b a4 b0 e "},
        {"r 3f0010000a0b z 3\n",
         "z 3\nOK.\n\n>Syntax error.\n" + unknown + ">Syntax error.\n" + unknown + ">", "b a4 e "},
        {"r 3f0010000a0b login\n", "login\nPassword: ", ""},
        {"1234\n", "Password: \nOK.\n\n>OK.\n>", "b a4 e b 20 e "},
        {"login\nwrong\n",
         "FAIL: " DENIED
         "\nTen refused logins in a row block the password. \"ksigil-token show\" tells how ma\n"
         "ny there were, \"ksigil-token unblock\" lifts the block.\n>",
         "b 20 e "},
        {"login\n12\b23 4\n",
         "Not taken: a password can't hold a blank.\n"
         "Given up. Usage: login [PASSWORD]\n>",
         ""},
        {"login\nx\0251235\b4\n", "Password: \nOK.\n>", "b 20 e "},
        {"changepw\nnew\nnow\n",
         "New password: \nAgain: \nThe two differ. The password is as "
         "before.\nGiven up. Usage: changepw [PASSWORD]\n>",
         ""},
        {"changepw\nnew\nnew\n", "New password: \nAgain: \nOK.\n>", "b d4 e "},
        {"logn secret\n",
         "Syntax error.\nDid you mean \"login\"?\n>Syntax error.\n" + unknown + ">", ""},
        {"rm 3f0010000a0c\n", ">rm 3f0010000a0c\nOK.\n>", "b a4 d2 e b a4 a4 e2 e "},
        {"rm 3f001000\n", "3f001000 with 1 object under it. Remove? (y/n) ", "b a4 d2 a4 e "},
        {"\n", "(y/n) \nNothing was removed.\n>", ""},
        {"rm 3f00\n", "2 objects, all that the token holds. Remove? (y/n) ",
         "b a4 d2 a4 a4 d2 a4 e "},
        {"y\n", "(y/n) y\nOK.\n>", "b a4 a4 d2 a4 a4 a4 d2 a4 a4 e2 a4 e2 e "},
        {"h\n", "help, ?                     this list\nexit, quit                  end\n>", ""},
        {"h ls ? ls\n", "\nexit, quit                  end\n>", ""},
        {"caf\303\251\n", ">caf\303\251\nSyntax error.\n" + unknown + ">", ""},
        {"\022rm\012", "all that the token holds. Remove? (y/n) ", "b a4 d2 e "},
        {"\004", "Nothing was removed.\n>", ""}};
    for (const auto& [keys, ending, frames] : rows) {
        sitting.expect(keys, ending);
        EXPECT_EQ(takeFrames(), frames) << keys;
    }
    sitting.type("quit\n");
    EXPECT_EQ(sitting.status(), 0);
    EXPECT_TRUE(sitting.isAsBefore());
}

std::string pasted(const std::string& text) {
    return "\033[200~" + text + "\033[201~";
}

TEST_F(TerminalTest, TakesPastesWholeOrNotAtAll) {
    std::string data;
    std::string shown;
    for (int i = 0; data.size() < 60000; ++i) {
        data += std::to_string(i);
    }
    data.resize(60000);
    for (const char c : data) {
        shown += std::string("3") + c + " ";
    }
    Sitting sitting(path());
    sitting.expect("mf 3f000001 60000 PUB\n", "OK.\n>");
    // Line breaks end lines also while commands run, and a tab is a blank.
    sitting.expect(pasted("ls 3f00\rw\t3f000001 0 " + data + "\nls 3f00"), "OK.\n>ls 3f00");
    sitting.expect("\n", ">ls 3f00\n0001\n>");
    const std::string read = "printf 'r 3f000001 0 60000' | KSIGIL_TOKEN=" + file("token.db") +
                             " " QVSH " x | tail -n 2 | head -n 1; printf '";
    EXPECT_EQ(run(read + "w 3f000001 0 x r 3f000001 59999 1' | KSIGIL_TOKEN=" + file("token.db") +
                  " " QVSH " x | tail -n 2"),
              shown + "/31 />/0");
    // The way through the history and back costs nothing.
    sitting.type(pasted("w 3f000001 0 " + data) + up + "\033[B\022\001\005\n");
    sitting.expect("OK.\n>");
    EXPECT_EQ(run(read + "'"), shown + "/0");

    const std::string refusal =
        "Not taken: the line holds a control character, or bytes that are no UTF-8.\n>";
    takeFrames();
    const auto expectRefused = [&](const std::string& keys) {
        sitting.expect("logout\n", ">logout\nOK.\n>");
        sitting.expect(keys, refusal);
    };
    for (const std::string bytes : {"\377", "\303(", "\355\240\200", "\302\205", "\007", "\021",
                                    "\033[31m", "\364\217\277\275"}) {
        expectRefused("login 1" + bytes + "234\n");
        expectRefused(pasted("login 1" + bytes + "234\r"));
    }
    for (const std::string byte : {"\001", "\025", "\177", "\022"}) {
        expectRefused(pasted("login 1" + byte + "234\r"));
    }
    EXPECT_THAT(takeFrames(), Not(HasSubstr("20")));
}

TEST(HistoryTest, KeepsNothingSecret) {
    for (const std::string kept :
         {"login", "w 3f000001 0", "w 3f000001", "wk 3f000001", "wk", "w", "dx", "pr E", "pr",
          "dx 3f000001 E", "logn", "lgoin", "exit", "help", "md 3f001000 PUB login"}) {
        EXPECT_EQ(ksigil::keptOf(kept + " secret"), kept);
    }
    const std::pair<const char*, const char*> rows[] = {{" changepw secret ls 3f00", "changepw"},
                                                        {"w 3f000001 0secret more", "w 3f000001 0"},
                                                        {"pr e secret more", "pr e"},
                                                        {"pr D ls 3f00", "pr D ls 3f00"},
                                                        {"dx E 3f000001 secret", "dx"},
                                                        {"dx 3f000001 D t", "dx 3f000001 D t"},
                                                        {"secret", ""},
                                                        {"login1234", ""},
                                                        {"ls 3f00 secret more", "ls 3f00"},
                                                        {"r 3f00 0 4secret more", "r 3f00 0 4"},
                                                        {"r 3f00 secret", "r 3f00 "},
                                                        {"", ""}};
    for (const auto& [line, kept] : rows) {
        EXPECT_EQ(ksigil::keptOf(line), kept) << line;
    }
}

TEST_F(TerminalTest, SharesItsHistory) {
    {
        Sitting one(path());
        Sitting other(path());
        one.expect("h md\n", "public or private\n>");
        other.expect("h mf\nlogin secret\n", "unblock\" lifts the block.\n>");
        one.expect("h mk\nw 3f001000 0 secret\nw 3f001000\n\n", "DATA\n>");
        one.expect(up + up + up + up, ">h md");
        one.expect("\025\022mk\n", "1 or 2 factor\n>");
        EXPECT_EQ(history(), "h md\nh mf\nlogin\nh mk\nw 3f001000 0\nw 3f001000\nh mk\n");
    }
    std::string longer;
    for (int i = 0; i < 1500; ++i) {
        longer += "h " + std::to_string(i) + "\n";
    }
    std::ofstream(file("ksigil/history")) << longer;
    std::filesystem::permissions(file("ksigil/history"), std::filesystem::perms{0666});
    Sitting third(path());
    third.expect(up, ">h 1499");
    EXPECT_EQ(history(), longer.substr(longer.find("h 500\n")));
    EXPECT_EQ(std::filesystem::status(file("ksigil/history")).permissions(),
              std::filesystem::perms{0600});
}

TEST_F(TerminalTest, LosesNothingElseWithItsHistory) {
    const std::pair<Sitting::Setup, const char*> troubles[] = {
        {[] {
             const rlimit full{7, 7};
             std::signal(SIGXFSZ, SIG_IGN);
             setrlimit(RLIMIT_FSIZE, &full);
         },
         "h md\n"},
        {[] { setenv("XDG_STATE_HOME", "/proc", 1); }, ""},
        {[] {
             unsetenv("XDG_STATE_HOME");
             unsetenv("HOME");
         },
         ""},
        {[this] { std::filesystem::create_directories(file("ksigil/history")); }, ""}};
    for (const auto& [setup, kept] : troubles) {
        {
            Sitting sitting(path(), setup);
            sitting.expect("h md\n", "public or private\n>");
            sitting.expect("h mf\n", "public or private\n>");
            sitting.expect(up + up, ">h md");
        }
        EXPECT_EQ(history(), kept);
        std::filesystem::remove_all(file("ksigil"));
    }
}

TEST_F(TerminalTest, TellsAWaitOnce) {
    const auto other = connectionTo(slot);  // another user of the token
    const std::string waiting = ">ls 3f00\nWaiting for the token, which is held by process " +
                                std::to_string(getpid()) + ".\n";
    Sitting sitting(path());
    sitting.expect("-----\n>");
    other->begin();
    sitting.expect("ls 3f00\n", waiting);
    other->end(token::Disposition::leave);
    sitting.expect(waiting + "The token is free now.\n>");
    sitting.expect("ls 3f00\n", ">ls 3f00\n>");
    takeFrames();
    // A completion tells nothing; it gives up, and gives back what it gets in the end.
    other->begin();
    sitting.expect("ls 3f00\tx", ">ls 3f00\n>ls 3f00x");
    sitting.expect("\tx", ">ls 3f00xx");
    other->end(token::Disposition::leave);
    while (contentOf(file("frames")) != "b e ") {
        usleep(1000);
    }
    EXPECT_EQ(other->begin(), token::Outcome::good);
    // Nor does one that fails tell anything, or end the shell.
    other->end(token::Disposition::leave);
    slot.remove();
    sitting.expect("\003", "\n>");
    sitting.expect("ls 3f00\tx", ">ls 3f00x");
    slot.insert();
    other->reconnect(token::Disposition::leave);
    other->begin();
    // Nor does one that waits keep the shell from ending.
    sitting.expect("\003", "\n>");
    sitting.expect("ls 3f00\tx", ">ls 3f00x");
    sitting.expect("\025exit\n", ">exit\n");
    EXPECT_EQ(sitting.status(), 0);
}

TEST_F(TerminalTest, GivesTheTerminalBackOnEveryWayOut) {
    const auto other = connectionTo(slot);  // another user of the token
    const std::string waiting = "is held by process " + std::to_string(getpid()) + ".\n";
    // What is typed, the screen then, and the signal that ends the shell there.
    const std::tuple<const char*, std::string, int> rows[] = {
        {"ls 3f", ">ls 3f", SIGTERM},       {"ls\n", "PATH? ", SIGHUP},
        {"login\n", "Password: ", SIGTERM}, {"ls 3f00\n", waiting, SIGINT},
        {"ls 3f00\n", waiting, SIGTERM},    {"ls 3", ">ls 3", SIGQUIT}};
    for (const auto& [keys, ending, signal] : rows) {
        other->begin();
        Sitting sitting(path());
        sitting.expect(keys, ending);
        EXPECT_FALSE(sitting.isAsBefore());
        kill(sitting.shell, signal);
        const int status = sitting.status();
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << ending;
        EXPECT_TRUE(sitting.isAsBefore()) << ending;
        other->end(token::Disposition::leave);
    }
    // One that held the token leaves it to the others.
    Sitting sitting(path());
    const auto stop = [&] {
        sitting.type("\032");
        EXPECT_TRUE(WIFSTOPPED(sitting.status()));
        EXPECT_TRUE(sitting.isAsBefore());
        kill(sitting.shell, SIGCONT);
    };
    sitting.expect("login\n", "Password: ");
    sitting.expect("\003", "Given up. Usage: login [PASSWORD]\n>");
    sitting.expect("ls 3f00", ">ls 3f00");
    stop();
    sitting.expect(">ls 3f00");
    sitting.expect("\n", ">ls 3f00\n>");
    other->begin();
    sitting.expect("ls 3f00\n", waiting);
    stop();
    other->end(token::Disposition::leave);
    sitting.expect("The token is free now.\n>");
    sitting.expect("ls 3f\f", ">ls 3f");
    sitting.resize(40);
    sitting.expect("00", ">ls 3f00");
    sitting.expect("\n", ">ls 3f00\n>");
}

TEST_F(TerminalTest, IsNotThereOnADumbOne) {
    std::filesystem::remove(file("token.db"));
    // A terminal that changes no byte and knows no key but the end of the input. The keyboard
    // stays.
    const std::string shell = "cd " + path() +
                              "; export TERM=dumb KSIGIL_TOKEN=token.db TMPDIR=.; tail -c +1 -f "
                              "input | script -qe -E never "
                              "-c 'stty raw icanon eof ^D; exec " QVSH " any' /dev/null";
    for (const auto& [input, expected] : transcripts) {
        put(file("input"), input + "\4\4\4\4");
        EXPECT_THAT(run(shell), EndsWith("-----/" + expected + "0")) << input;
    }
}

}  // namespace
