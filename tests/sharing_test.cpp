// Several processes and threads on one image. This program is also the other process: started with
// an image's path it does what it is told on its standard input, a word a line, and answers a line.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>

#include <functional>
#include <iostream>
#include <map>
#include <thread>

#include "tests/scratch_token.h"

namespace {

using token::Connection;
using token::Outcome;

std::string nameOf(Outcome outcome) {
    static constexpr const char* names[] = {"good",    "unusable", "absent",
                                            "removed", "reset",    "notHeld"};
    return names[static_cast<int>(outcome)];
}

constexpr const char* root = "00A40000000004 0001003F";
constexpr const char* login = "00200000000005 0431323334";
constexpr const char* list = "00D20000000003 000000";
constexpr const char* createPrivate = "00E00000000006 010100000100";

// Adds 1 to the 16-bit number in file 1, `times` times, each under a transaction.
std::string countUp(Connection& connection, int times) {
    for (int i = 0; i < times; ++i) {
        if (connection.begin() != Outcome::good) {
            return "not begun";
        }
        answer(connection, bytesOf("00A40000000006 0002003F0100"));
        const token::Buffer old = bytesOf(answer(connection, bytesOf("00B00000000004 00000200")));
        const unsigned next = token::get16(old, 0) + 1U;
        token::Buffer write = bytesOf("00D00000000006 00000200");
        token::put16(write, static_cast<std::uint16_t>(next));
        if (answer(connection, write) != "0090" ||
            connection.end(token::After::leave) != Outcome::good) {
            return "not counted";
        }
    }
    return "good";
}

std::string obey(token::Slot& slot, std::unique_ptr<Connection>& connection,
                 const std::string& word) {
    std::string why;
    const std::map<std::string, std::function<Outcome()>> acts{
        {"connect", [&] { return slot.connect(connection, why); }},
        {"reset", [&] { return connection->reset(), Outcome::good; }},
        {"close", [&] { return connection.reset(), Outcome::good; }},
        {"remove", [&] { return slot.remove(why); }},
        {"insert", [&] { return slot.insert(why); }},
        {"begin", [&] { return connection->begin(); }},
        {"end", [&] { return connection->end(token::After::leave); }},
        {"endWithReset", [&] { return connection->end(token::After::reset); }},
        {"reconnect", [&] { return connection->reconnect(token::After::leave); }},
    };
    if (const auto act = acts.find(word); act != acts.end()) {
        const Outcome outcome = act->second();
        return why.empty() ? nameOf(outcome) : why;
    }
    return word == "count" ? countUp(*connection, 100) : answer(*connection, bytesOf(word));
}

int beAnotherProcess(const char* path) {
    token::Slot slot({path, false});
    std::unique_ptr<Connection> connection;
    for (std::string word; std::getline(std::cin, word);) {
        std::cout << obey(slot, connection, word) << std::endl;
    }
    return 0;
}

class Process {
  public:
    explicit Process(const std::string& image) {
        int in[2];
        int out[2];
        EXPECT_EQ(pipe2(in, O_CLOEXEC) + pipe2(out, O_CLOEXEC), 0);
        id_ = fork();
        if (id_ == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            execl("/proc/self/exe", "sharing_test", image.c_str(), nullptr);
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        in_ = in[1];
        out_ = fdopen(out[0], "r");
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process() { end(SIGKILL); }

    void say(const std::string& word) {
        const std::string line = word + "\n";
        EXPECT_EQ(write(in_, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    }

    // The next answer's line, or "waits" if there is none within the time.
    std::string hear(int milliseconds = 10000) {
        pollfd ready{fileno(out_), POLLIN, 0};
        char line[8192];
        if (poll(&ready, 1, milliseconds) != 1 || fgets(line, sizeof line, out_) == nullptr) {
            return "waits";
        }
        return std::string(line, strcspn(line, "\n"));
    }

    std::string ask(const std::string& word) {
        say(word);
        return hear();
    }

    void signal(int number) { kill(id_, number); }

    void end(int number) {
        if (id_ > 0) {
            signal(number);
            waitpid(id_, nullptr, 0);
            close(in_);
            fclose(out_);
            id_ = 0;
        }
    }

  private:
    pid_t id_ = 0;
    int in_ = -1;
    FILE* out_ = nullptr;
};

class SharingTest : public testing::Test {
  protected:
    SharingTest() { putFreshImage(path_); }

    ScratchFolder folder_;
    std::string path_ = folder_.file("token.db");
    Process a_{path_};
    Process b_{path_};
    Process c_{path_};
};

TEST_F(SharingTest, SelectionAndLoginAreTheTokens) {
    EXPECT_EQ(a_.ask("connect"), "good");
    EXPECT_EQ(a_.ask(list), "0464");
    EXPECT_EQ(b_.ask("connect"), "good");
    EXPECT_EQ(a_.ask(root).substr(16), "0090");
    EXPECT_EQ(b_.ask(list), "00000090");
    EXPECT_EQ(b_.ask(createPrivate), "8269");
    EXPECT_EQ(a_.ask(login), "0090");
    EXPECT_EQ(b_.ask(createPrivate), "0090");
}

TEST_F(SharingTest, PowerEndsWithTheLastConnectionHoweverItEnds) {
    const auto powered = [this] {
        EXPECT_EQ(c_.ask("connect"), "good");
        const bool selected = c_.ask(list) != "0464";
        EXPECT_EQ(c_.ask("close"), "good");
        return selected;
    };
    EXPECT_EQ(a_.ask("connect"), "good");
    EXPECT_EQ(a_.ask(root).substr(16), "0090");
    EXPECT_EQ(a_.ask("begin"), "good");
    EXPECT_EQ(b_.ask("connect"), "good");
    EXPECT_EQ(a_.ask("end"), "good");
    a_.end(SIGKILL);
    EXPECT_TRUE(powered());
    EXPECT_EQ(b_.ask("close"), "good");
    EXPECT_FALSE(powered());
    EXPECT_EQ(b_.ask("connect"), "good");
    EXPECT_EQ(b_.ask(root).substr(16), "0090");
    EXPECT_TRUE(powered());
    b_.end(SIGKILL);
    EXPECT_FALSE(powered());
}

TEST_F(SharingTest, ATransactionExcludesUntilItEndsOrItsProcessDoes) {
    for (const bool dies : {false, true}) {
        EXPECT_EQ(a_.ask("connect"), "good");
        EXPECT_EQ(b_.ask("connect"), "good");
        EXPECT_EQ(c_.ask("connect"), "good");
        EXPECT_EQ(a_.ask("begin"), "good");
        EXPECT_EQ(a_.ask(root).substr(16), "0090");
        b_.say(list);
        c_.say("begin");
        EXPECT_EQ(b_.hear(100), "waits");
        EXPECT_EQ(c_.hear(50), "waits");
        if (dies) {
            a_.end(SIGKILL);
        } else {
            EXPECT_EQ(a_.ask("end"), "good");
            EXPECT_EQ(a_.ask("end"), "notHeld");
        }
        EXPECT_EQ(c_.hear(), "good");
        EXPECT_EQ(c_.ask("end"), "good");
        EXPECT_EQ(b_.hear(), "00000090");
    }
}

TEST_F(SharingTest, AResetWaitsForNobody) {
    for (Process* process : {&a_, &b_, &c_}) {
        EXPECT_EQ(process->ask("connect"), "good");
    }
    EXPECT_EQ(a_.ask(login), "0090");
    EXPECT_EQ(a_.ask("begin"), "good");
    EXPECT_EQ(a_.ask(root).substr(16), "0090");
    b_.say("begin");
    EXPECT_EQ(b_.hear(50), "waits");
    a_.signal(SIGSTOP);  // the holder can do nothing for it
    EXPECT_EQ(c_.ask("reset"), "good");
    EXPECT_EQ(b_.hear(), "reset");
    EXPECT_EQ(b_.ask(list), "outcome 4");
    EXPECT_EQ(c_.ask("begin"), "good");
    EXPECT_EQ(c_.ask(list), "0464");
    a_.signal(SIGCONT);
    EXPECT_EQ(a_.ask(list), "outcome 4");
    EXPECT_EQ(a_.ask("end"), "reset");
    EXPECT_EQ(a_.ask("begin"), "reset");
    EXPECT_EQ(a_.ask("reconnect"), "good");
    EXPECT_EQ(a_.ask("end"), "good");  // of the transaction that the reset ended
    EXPECT_EQ(a_.ask("end"), "notHeld");
    a_.say(root);
    EXPECT_EQ(a_.hear(50), "waits");  // c's transaction is not a's to end
    EXPECT_EQ(c_.ask("endWithReset"), "good");
    EXPECT_EQ(c_.ask(list), "0464");  // who asked for it goes on
    EXPECT_EQ(a_.hear(), "outcome 4");
}

TEST_F(SharingTest, ARemovedTokenStaysRemovedUntilItIsInserted) {
    EXPECT_EQ(a_.ask("connect"), "good");
    EXPECT_EQ(b_.ask("connect"), "good");
    EXPECT_EQ(a_.ask(root).substr(16), "0090");
    EXPECT_EQ(a_.ask("begin"), "good");
    b_.say(list);
    EXPECT_EQ(b_.hear(50), "waits");
    EXPECT_EQ(c_.ask("remove"), "good");
    EXPECT_EQ(b_.hear(), "outcome 3");
    for (const char* word : {"begin", "end", "reconnect"}) {
        EXPECT_EQ(a_.ask(word), "removed") << word;
    }
    EXPECT_EQ(c_.ask("connect"), "the token was removed from its reader");
    a_.end(SIGKILL);
    EXPECT_EQ(b_.ask("close"), "good");
    EXPECT_EQ(c_.ask("connect"), "the token was removed from its reader");
    EXPECT_EQ(c_.ask("insert"), "good");
    EXPECT_EQ(c_.ask("connect"), "good");
    EXPECT_EQ(c_.ask(list), "0464");
    EXPECT_EQ(c_.ask("remove"), "good");
    EXPECT_EQ(b_.ask("insert"), "good");
    EXPECT_EQ(c_.ask(list), "outcome 3");  // until it looks again
    EXPECT_EQ(c_.ask("reconnect"), "good");
    EXPECT_EQ(c_.ask(list), "0464");
}

TEST_F(SharingTest, NoCountIsLostBetweenProcessesAndThreads) {
    token::Slot slot({path_, false});
    std::unique_ptr<Connection> first;
    std::string why;
    ASSERT_EQ(slot.connect(first, why), Outcome::good) << why;
    answer(*first, bytesOf(root));
    ASSERT_EQ(answer(*first, bytesOf("00E00000000006 010002000100")), "0090");
    for (Process* process : {&a_, &b_, &c_}) {
        EXPECT_EQ(process->ask("connect"), "good");
        process->say("count");
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < 64; ++i) {
        threads.emplace_back([&slot] {
            std::unique_ptr<Connection> own;
            std::string reason;
            ASSERT_EQ(slot.connect(own, reason), Outcome::good) << reason;
            EXPECT_EQ(countUp(*own, 5), "good");
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (Process* process : {&a_, &b_, &c_}) {
        EXPECT_EQ(process->hear(), "good");
    }
    answer(*first, bytesOf("00A40000000006 0002003F0100"));
    EXPECT_EQ(answer(*first, bytesOf("00B00000000004 00000200")), "6C020090");  // 620
}

TEST_F(SharingTest, WhoComesFirstMakesTheImageWhole) {
    std::filesystem::remove(path_);
    std::filesystem::remove(path_ + ".lock");
    for (Process* process : {&a_, &b_, &c_}) {
        process->say("connect");
    }
    for (Process* process : {&a_, &b_, &c_}) {
        EXPECT_EQ(process->hear(), "good");
    }
    EXPECT_EQ(a_.ask(login), "0090");
    EXPECT_EQ(a_.ask(root).substr(16), "0090");
    EXPECT_EQ(b_.ask(createPrivate), "0090");
    EXPECT_EQ(c_.ask(list), "010001000090");
    EXPECT_EQ(std::filesystem::status(path_).permissions(), std::filesystem::perms(0600));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && argv[1][0] == '/') {
        return beAnotherProcess(argv[1]);
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
