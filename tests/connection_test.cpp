// Several processes and threads on one image. This program is also the other process: started with
// an image's path it does what it is told on its standard input, a word a line, and answers a line.

#include <gtest/gtest.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iostream>
#include <semaphore>
#include <thread>

#include "tests/toolbox/process.h"
#include "tests/toolbox/scratch_image.h"
#include "token/door/slot.h"
#include "token/power/powered_state.h"

namespace {

using token::Connection;
using token::Outcome;

// Adds 1 to the 16-bit number in file 1, `times` times, each under a transaction.
std::string countUp(Connection& connection, int times) {
    for (int i = 0; i < times; ++i) {
        if (connection.begin() != Outcome::good) {
            return "not begun";
        }
        answer(connection, frameOf("a4", "0002003f0100"));
        const token::Buffer old = bytesOf(answer(connection, frameOf("b0", "00000200")));
        const unsigned next = token::get16(old, 0) + 1U;
        token::Buffer write = bytesOf("00d00000000006 00000200");
        token::put16(write, static_cast<std::uint16_t>(next));
        if (answer(connection, write) != "0090" ||
            connection.end(token::Disposition::leave) != Outcome::good) {
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
        {"remove", [&] { return slot.remove(), Outcome::good; }},
        {"insert", [&] { return slot.insert(), Outcome::good; }},
        {"begin", [&] { return connection->begin(); }},
        {"end", [&] { return connection->end(token::Disposition::leave); }},
        {"endWithReset", [&] { return connection->end(token::Disposition::reset); }},
        {"reconnect", [&] { return connection->reconnect(token::Disposition::leave); }}};
    if (const auto act = acts.find(word); act != acts.end()) {
        const Outcome outcome = act->second();
        return outcome == Outcome::unusable ? why : nameOf(outcome);
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

class SharingTest : public testing::Test {
  protected:
    SharingTest() { putFreshImage(path_); }

    // In threes of words: who is told what, and answers what; - for nothing.
    void talk(const std::string& steps) {
        const std::map<std::string, std::string> frames = {
            {"root", "00a40000000004 0001003f"},
            {"login", "00200000000005 0431323334"},
            {"list", "00d20000000003 000000"},
            {"create", "00e00000000006 010100000100"}};  // a private file
        std::map<std::string, Process*> processes = {{"a", &a_}, {"b", &b_}, {"c", &c_}};
        std::istringstream words(steps);
        for (std::string who, word, expected; words >> who >> word >> expected;) {
            if (word != "-") {
                processes[who]->say(frames.contains(word) ? frames.at(word) : word);
            }
            if (expected != "-") {
                EXPECT_EQ(processes[who]->hear(expected == "waits" ? 60 : 10000), expected)
                    << who << " " << word << " in " << steps;
            }
        }
    }

    ScratchFolder folder_;
    std::string path_ = folder_.file("token.db");
    std::string other_ = std::filesystem::read_symlink("/proc/self/exe").string() + " " + path_;
    Process a_{other_}, b_{other_}, c_{other_};
};

TEST_F(SharingTest, SelectionAndLoginAreTheTokens) {
    talk("a connect good  a list 0464  b connect good  a root 003f0200000000000090");
    talk("b list 00000090  b create 8269  a login 0090  b create 0090");
}

TEST_F(SharingTest, PowerEndsWithTheLastConnectionHoweverItEnds) {
    const std::string selected = "c connect good  c list 00000090  c close good";
    const std::string forgotten = "c connect good  c list 0464  c close good";
    talk("a connect good  a root 003f0200000000000090  a begin good  b connect good  a end good");
    a_.end(SIGKILL);
    talk(selected + "  b close good  " + forgotten);
    talk("b connect good  b root 003f0200000000000090  " + selected);
    b_.end(SIGKILL);
    talk(forgotten);
}

TEST_F(SharingTest, ATransactionExcludesUntilItEndsOrItsProcessDoes) {
    for (const bool dies : {false, true}) {
        talk("a connect good  b connect good  c connect good  a begin good");
        talk("a root 003f0200000000000090  b list waits  c begin waits");
        if (dies) {
            a_.end(SIGKILL);
        } else {
            talk("a end good  a end notHeld");
        }
        talk("c - good  c end good  b - 00000090");
    }
}

TEST_F(SharingTest, AResetWaitsForNobody) {
    talk("a connect good  b connect good  c connect good  a login 0090  a begin good");
    talk("a root 003f0200000000000090  b begin waits");
    a_.signal(SIGSTOP);  // the holder can do nothing for it
    talk("c reset good  b - reset  b list reset  c reconnect good  c begin good  c list 0464");
    a_.signal(SIGCONT);
    // Once the reset is met, the transaction that it ended can be ended, and no more.
    talk("a list reset  a end reset  a begin reset  a reconnect good  a end good  a end notHeld");
    // c's transaction is not a's to end; who asks for a reset goes on.
    talk("a root waits  c endWithReset good  c list 0464  a - reset");
}

TEST_F(SharingTest, ARemovedTokenStaysRemovedUntilItIsInserted) {
    const std::string absent = "  c connect absent";
    talk("a connect good  b connect good  a root 003f0200000000000090  a begin good  b list waits");
    talk("c remove good  b - removed  a begin removed  a end removed  a reconnect removed" +
         absent);
    a_.end(SIGKILL);
    talk("b close good" + absent + "  c insert good  c connect good  c list 0464");
    // A connection meets the removal of a token that is back, until it looks again.
    talk("c remove good  b insert good  c list removed  c reconnect good  c list 0464");
}

TEST_F(SharingTest, NoCountIsLostBetweenProcessesAndThreads) {
    token::Slot slot({path_, false});
    const auto first = connectionTo(slot);
    answer(*first, frameOf("a4", "0001003f"));
    ASSERT_EQ(answer(*first, frameOf("e0", "010002000100")), "0090");
    talk("a connect good  b connect good  c connect good  a count -  b count -  c count -");
    std::vector<std::thread> threads;
    for (int i = 0; i < 64; ++i) {
        threads.emplace_back([&slot] { EXPECT_EQ(countUp(*connectionTo(slot), 5), "good"); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    talk("a - good  b - good  c - good");
    answer(*first, frameOf("a4", "0002003f0100"));
    EXPECT_EQ(answer(*first, frameOf("b0", "00000200")), "6c020090");  // 620
}

TEST_F(SharingTest, WhoComesFirstMakesTheImageWhole) {
    std::filesystem::remove(path_);
    std::filesystem::remove(path_ + ".lock");
    talk("a connect -  b connect -  c connect -  a - good  b - good  c - good");
    talk("a login 0090  a root 003f0200000000000090  b create 0090  c list 010001000090");
    EXPECT_EQ(std::filesystem::status(path_).permissions(), std::filesystem::perms(0600));
}

struct Region {
    std::uint8_t* begin;
    std::size_t size;
};

// The parts of this process's memory that may be written, and the one that processes share.
std::vector<Region> writableMemory(token::PoweredState*& shared) {
    std::vector<Region> regions;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        std::uintptr_t begin = 0;
        std::uintptr_t end = 0;
        char access[5] = {};
        std::sscanf(line.c_str(), "%" SCNxPTR "-%" SCNxPTR " %4s", &begin, &end, access);
        if (line.find("/SYSV") != std::string::npos) {
            shared = reinterpret_cast<token::PoweredState*>(begin);
        } else if (std::string(access).starts_with("rw") && end - begin < (64U << 20)) {
            regions.push_back({reinterpret_cast<std::uint8_t*>(begin), end - begin});
        }
    }
    return regions;
}

// How often the bytes that are another's with all bits turned stand in memory.
int count(const std::vector<Region>& regions, const Bytes& turned) {
    int found = 0;
    const auto isTurned = [](std::uint8_t a, std::uint8_t b) { return (a ^ b) == 0xFF; };
    for (const Region& region : regions) {
        const std::uint8_t* const end = region.begin + region.size;
        const std::uint8_t* at = region.begin;
        while ((at = std::search(at, end, turned.begin(), turned.end(), isTurned)) != end) {
            ++found;
            ++at;
        }
    }
    return found;
}

TEST(PoweredMemory, HoldsTheKeyAloneAndNoLongerThanTheLogin) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer forbids to read the whole memory, and keeps copies itself";
#endif
    ScratchFolder folder;
    putFreshImage(folder.file("token.db"));
    token::Slot slot({folder.file("token.db"), false});
    auto connection = connectionTo(slot);
    token::PoweredState* state = nullptr;
    writableMemory(state);
    ASSERT_NE(state, nullptr);
    const std::string isSwappedAndDumped =
        "awk '$5 == " + std::to_string(getpid()) +
        " { print $3 }' /proc/sysvipc/shm; awk '/SYSV/ "
        "{ on = 1 } on && /VmFlags/ { print / dd / ? \"not\" : \"dumped\"; exit }' /proc/" +
        std::to_string(getpid()) + "/smaps";
    EXPECT_EQ(run(isSwappedAndDumped), "3600/not/0");

    const auto keys = [&] {
        return std::count_if(state->sessions.begin(), state->sessions.end(), [](auto& session) {
            return std::any_of(session.key.begin(), session.key.end(),
                               [](auto b) { return b != 0; });
        });
    };
    const std::pair<const char*, std::function<void()>> ends[] = {
        {"logout", [&] { answer(*connection, frameOf("dc", "00")); }},
        {"a failed login", [&] { answer(*connection, frameOf("20", "0135")); }},
        {"reset", [&] { connection->reset(); }},
        {"removal", [&] { slot.remove(); }}};
    for (const auto& [name, end] : ends) {
        for (int again = 0; again < 2; ++again) {  // one login replaces the other
            EXPECT_EQ(answer(*connection, frameOf("20", "0431323334")), "0090") << name;
            EXPECT_EQ(keys(), 1) << name;
        }
        // Byte by byte, since the copy of a whole one would stay in this thread's registers.
        const volatile std::uint8_t* const key = state->sessions[state->session].key.data();
        Bytes turned;
        for (std::size_t i = 0; i < token::SecretKey().size(); ++i) {
            turned.push_back(static_cast<std::uint8_t>(~key[i]));
        }
        // Its stack stays as the last frame leaves it until it was searched.
        std::binary_semaphore isDone(0), isSearched(0);
        std::jthread user([&] {
            connection->begin();
            for (const auto& [ins, data] : {std::pair{"a4", "0001003f"},
                                            {"e0", "010120000100"},
                                            {"a4", "0002003f0100"},
                                            {"d0", "00000200beef"}}) {
                answer(*connection, frameOf(ins, data));
            }
            isDone.release();
            isSearched.acquire();
            connection->end(token::Disposition::leave);
        });
        isDone.acquire();
        const Region powered{reinterpret_cast<std::uint8_t*>(state), sizeof *state};
        EXPECT_EQ(count({powered}, turned), 1) << name;
        EXPECT_EQ(count(writableMemory(state), turned), 0) << name;
        isSearched.release();
        user.join();
        end();
        EXPECT_EQ(keys(), 0) << name;
        EXPECT_EQ(count(writableMemory(state), turned), 0) << name;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && argv[1][0] == '/') {
        return beAnotherProcess(argv[1]);
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
