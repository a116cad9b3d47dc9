// ksigil_crowd [SECONDS]: how often the embedded token's one counter can be raised, each time under
// a lock of the token, by one thread and by a crowd: 64 threads of this process and 8 more
// processes, all at once. A count that is lost is an error. Run it by hand.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <thread>

#include "Components/qv_aid/qv_filesystem.h"
#include "apdulib/rm_apdutalker.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* counterPath = "3f000001";
constexpr int threadsOfCrowd = 64;
constexpr int processesOfCrowd = 8;

void need(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "ksigil_crowd: %s\n", what);
        std::_Exit(1);
    }
}

u32 readCounter(RMApduTalker& talker) {
    std::vector<u8> bytes;
    need(QVFileSystem().readFile(talker, counterPath, 0, 4, bytes) == 0, "a read failed");
    return u32{bytes[0]} | u32{bytes[1]} << 8U | u32{bytes[2]} << 16U | u32{bytes[3]} << 24U;
}

void writeCounter(RMApduTalker& talker, u32 value) {
    const std::vector<u8> bytes = {static_cast<u8>(value), static_cast<u8>(value >> 8),
                                   static_cast<u8>(value >> 16), static_cast<u8>(value >> 24)};
    need(QVFileSystem().writeFile(talker, counterPath, 0, bytes) == 0, "a write failed");
}

// Gives how often it raised the counter.
u32 countUntil(Clock::time_point end) {
    RMApduTalker talker("VDW ifdh 0", SCARD_SHARE_SHARED);
    need(talker.create() == 0, "no talker");
    u32 times = 0;
    for (; Clock::now() < end; ++times) {
        need(talker.lock() == 0, "a lock failed");
        writeCounter(talker, readCounter(talker) + 1);
        need(talker.unlock(SCARD_LEAVE_CARD) == 0, "an unlock failed");
    }
    talker.detach(SCARD_LEAVE_CARD);
    return times;
}

// A process that counts until the time. Gives the pipe on which it will tell how often.
int anotherProcess(Clock::time_point end) {
    int ends[2];
    need(pipe2(ends, O_CLOEXEC) == 0, "no pipe");
    const pid_t process = fork();
    need(process >= 0, "no process");
    if (process == 0) {
        const u32 times = countUntil(end);
        need(write(ends[1], &times, sizeof times) == sizeof times, "nobody listens");
        std::_Exit(0);
    }
    close(ends[1]);
    return ends[0];
}

u32 countInACrowd(Clock::time_point end) {
    std::vector<int> pipes;
    for (int i = 0; i < processesOfCrowd; ++i) {
        pipes.push_back(anotherProcess(end));
    }
    std::atomic<u32> times = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < threadsOfCrowd; ++i) {
        threads.emplace_back([&times, end] { times += countUntil(end); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const int pipe : pipes) {
        u32 others = 0;
        need(read(pipe, &others, sizeof others) == sizeof others, "a process failed");
        times += others;
        close(pipe);
    }
    return times;
}

// In a thread that comes and goes, so that the crowd's 64 have a place each in the talker's table.
u32 onTheToken(const std::function<u32(RMApduTalker&)>& work) {
    u32 result = 0;
    std::thread([&] {
        RMApduTalker talker("VDW ifdh 0", SCARD_SHARE_SHARED);
        need(talker.create() == 0 && talker.lock() == 0, "the token cannot be reached");
        result = work(talker);
        need(talker.unlock(SCARD_LEAVE_CARD) == 0, "an unlock failed");
        talker.detach(SCARD_LEAVE_CARD);
    }).join();
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 60;
    std::string folder = std::filesystem::temp_directory_path() / "ksigil-crowd-XXXXXX";
    need(mkdtemp(folder.data()) != nullptr, "no folder");
    setenv("KSIGIL_TOKEN", (folder + "/token.db").c_str(), 1);
    setenv("KSIGIL_PCSC", "embedded", 1);

    onTheToken([](RMApduTalker& talker) {
        return QVFileSystem().createFile(talker, counterPath, 4, false);
    });
    const auto period = std::chrono::seconds(seconds);
    const u32 alone = countUntil(Clock::now() + period);
    std::printf("one thread: %u in %d s, %u a second\n", alone, seconds,
                alone / static_cast<u32>(seconds));
    const u32 together = countInACrowd(Clock::now() + period);
    std::printf("%d threads and %d processes: %u in %d s, %u a second\n", threadsOfCrowd,
                processesOfCrowd, together, seconds, together / static_cast<u32>(seconds));
    const u32 counted = onTheToken(readCounter);
    std::filesystem::remove_all(folder);
    need(counted == alone + together, "a count was lost");
    return 0;
}
