// What the layers cost, each beside what it stands on. Run it by hand; nothing here passes or
// fails.

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "Components/qv_aid/qv_filesystem.h"
#include "Components/qv_aid/qv_password.h"
#include "Components/qv_aid/qv_protector.h"
#include "apdulib/rm_apdutalker.h"
#include "bench/instant_resource_manager.h"
#include "include/log_gate.h"
#include "platform/posix/embedded_resource_manager.h"
#include "shell/hex_byte_writer.h"
#include "token/base/file.h"

using namespace ksigil;

namespace {

constexpr std::uint32_t frameBytes = 986;
constexpr std::uint32_t fileBytes = 60000;
constexpr const char* filePath = "3f000001";
constexpr const char* privatePath = "3f000002";

// The figures are those of an untraced program.
[[maybe_unused]] const int untraced = setenv("KSIGIL_LOGGING", "/dev/null", 1);

void need(bool holds) {
    if (!holds) {
        throw std::runtime_error("the benchmark's own preparation failed");
    }
}

// Threads of the process that have a connection each, until they are let go.
class OtherThreads {
  public:
    OtherThreads(RMApduTalker& talker, int count) {
        for (int i = 0; i < count; ++i) {
            threads_.emplace_back([this, &talker] {
                need(talker.getCardHandle() != 0);
                std::unique_lock guard(mutex_);
                ++connected_;
                changed_.notify_all();
                changed_.wait(guard, [this] { return done_; });
            });
        }
        std::unique_lock guard(mutex_);
        changed_.wait(guard, [this, count] { return connected_ == count; });
    }
    OtherThreads(const OtherThreads&) = delete;
    OtherThreads& operator=(const OtherThreads&) = delete;
    ~OtherThreads() {
        {
            const std::lock_guard guard(mutex_);
            done_ = true;
        }
        changed_.notify_all();
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int connected_ = 0;
    bool done_ = false;
    std::vector<std::thread> threads_;
};

// lock, transmit, unlock: the three PC/SC calls alone.
void threeCallsDirectly(benchmark::State& state) {
    InstantResourceManager manager;
    platform::useResourceManager(&manager);
    const u8 command[7] = {};
    u8 reply[2];
    for (auto _ : state) {
        DWORD length = sizeof reply;
        SCardBeginTransaction(1);
        SCardTransmit(1, SCARD_PCI_T1, command, sizeof command, nullptr, reply, &length);
        SCardEndTransaction(1, SCARD_LEAVE_CARD);
        benchmark::DoNotOptimize(reply);
    }
    platform::useResourceManager(nullptr);
}
BENCHMARK(threeCallsDirectly);

// The same through the talker; the argument is the number of records in use, the thread's own last.
void threeCallsThroughTalker(benchmark::State& state) {
    InstantResourceManager manager;
    platform::useResourceManager(&manager);
    {
        RMApduTalker talker("VDW ifdh 0", SCARD_SHARE_SHARED);
        need(talker.create() == 0);
        const OtherThreads others(talker, static_cast<int>(state.range(0)) - 1);
        const u8 command[7] = {};
        u8 reply[2];
        for (auto _ : state) {
            u32 length = sizeof reply;
            talker.lock();
            talker.transmit(command, sizeof command, reply, &length);
            talker.unlock(SCARD_LEAVE_CARD);
            benchmark::DoNotOptimize(reply);
        }
    }
    platform::useResourceManager(nullptr);
}
BENCHMARK(threeCallsThroughTalker)->Arg(1)->Arg(64);

class Folder {
  public:
    Folder() {
        std::string name = std::filesystem::temp_directory_path() / "ksigil-bench-XXXXXX";
        need(mkdtemp(name.data()) != nullptr);
        path_ = name;
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() { std::filesystem::remove_all(path_); }

    std::string image() const { return path_ + "/token.db"; }
    std::string configuration() const { return path_ + "/logging.conf"; }

  private:
    std::string path_;
};

// A fresh embedded token with a public and a private file, logged in, behind a talker.
class Token {
  public:
    Token() {
        platform::useResourceManager(&manager_);
        need(talker_.create() == 0 && talker_.lock() == 0);
        logIn();
        for (const char* path : {filePath, privatePath}) {
            need(files_.createFile(talker_, path, fileBytes, path == privatePath) == 0);
            need(files_.writeFile(talker_, path, 0, std::vector<u8>(fileBytes, 0x5A)) == 0);
        }
        need(talker_.unlock(SCARD_LEAVE_CARD) == 0);
    }
    Token(const Token&) = delete;
    Token& operator=(const Token&) = delete;
    ~Token() {
        talker_.detach(SCARD_LEAVE_CARD);
        platform::useResourceManager(nullptr);
    }

    RMApduTalker& talker() { return talker_; }
    QVFileSystem& files() { return files_; }
    std::string image() const { return folder_.image(); }

    void logIn() { need(QVPassword().login(talker_, {'1', '2', '3', '4'}) == 0); }

    void select(bool isPrivate) {
        QVFileInfo info;
        need(files_.selectPath(talker_, isPrivate ? privatePath : filePath, info) == 0);
    }

  private:
    Folder folder_;
    platform::EmbeddedResourceManager manager_{token::ImagePlace{folder_.image(), false}};
    RMApduTalker talker_{"VDW ifdh 0", SCARD_SHARE_SHARED};
    QVFileSystem files_;
};

// The last byte changes with each frame: the database does not write what it has already.
// The arguments: inside a held transaction or not, on the private file or on the public one.
void frame(benchmark::State& state, std::vector<u8> command, u32 room, bool changing) {
    Token token;
    if (state.range(0) != 0) {
        need(token.talker().lock() == 0);
    }
    token.select(state.range(1) != 0);
    std::vector<u8> reply(room);
    for (auto _ : state) {
        command.back() = static_cast<u8>(command.back() + (changing ? 1 : 0));
        u32 length = room;
        need(token.talker().transmit(command.data(), static_cast<u32>(command.size()), reply.data(),
                                     &length) == 0);
        need(length == room && reply[length - 1] == 0x90);
    }
}

// One frame of 986 bytes at offset 0.
void readFrame(benchmark::State& state) {
    frame(state, {0, 0xB0, 0, 0, 0, 0, 4, 0, 0, frameBytes & 0xFF, frameBytes >> 8}, frameBytes + 2,
          false);
}
BENCHMARK(readFrame)->ArgNames({"held", "private"})->ArgsProduct({{0, 1}, {0, 1}});

void writeFrame(benchmark::State& state) {
    std::vector<u8> command = {0,
                               0xD0,
                               0,
                               0,
                               0,
                               (frameBytes + 4) >> 8,
                               (frameBytes + 4) & 0xFF,
                               0,
                               0,
                               frameBytes & 0xFF,
                               frameBytes >> 8};
    command.resize(command.size() + frameBytes, 0xA5);
    frame(state, command, 2, true);
}
BENCHMARK(writeFrame)->ArgNames({"held", "private"})->ArgsProduct({{0, 1}, {0, 1}})->UseRealTime();

void login(benchmark::State& state) {
    Token token;
    need(token.talker().lock() == 0);
    for (auto _ : state) {
        token.logIn();
    }
}
BENCHMARK(login)->Unit(benchmark::kMillisecond)->UseRealTime();

// The one statement that such a frame cannot do without, on the same image, opened alike.
void bareStatement(benchmark::State& state, const char* sql, bool writes) {
    const Token token;
    sqlite3* database = nullptr;
    need(sqlite3_open_v2(token.image().c_str(), &database,
                         SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) == SQLITE_OK);
    need(sqlite3_exec(database,
                      "PRAGMA synchronous = FULL; PRAGMA wal_autocheckpoint = 256;"
                      "PRAGMA secure_delete = ON",
                      nullptr, nullptr, nullptr) == SQLITE_OK);
    sqlite3_stmt* statement = nullptr;
    need(sqlite3_prepare_v2(database, sql, -1, &statement, nullptr) == SQLITE_OK);
    std::vector<u8> bytes(1024, 0xA5);
    for (auto _ : state) {
        if (writes) {
            ++bytes.back();
            sqlite3_bind_blob(statement, 1, bytes.data(), static_cast<int>(bytes.size()),
                              SQLITE_STATIC);
            need(sqlite3_step(statement) == SQLITE_DONE);
        } else {
            need(sqlite3_step(statement) == SQLITE_ROW);
            const auto* row = static_cast<const u8*>(sqlite3_column_blob(statement, 0));
            std::copy_n(row, frameBytes, bytes.data());
            need(sqlite3_step(statement) == SQLITE_DONE);
        }
        sqlite3_reset(statement);
        benchmark::DoNotOptimize(bytes.data());
    }
    sqlite3_finalize(statement);
    sqlite3_close(database);
}

void bareRead(benchmark::State& state) {
    bareStatement(state, "SELECT bytes FROM page WHERE number = 64", false);
}
BENCHMARK(bareRead);

void bareWrite(benchmark::State& state) {
    bareStatement(state, "UPDATE page SET bytes = ? WHERE number = 64", true);
}
BENCHMARK(bareWrite)->UseRealTime();

// The work of 400 commands `w`, each with 986 other bytes, beside a file to which as many bytes are
// appended and synced as often.
constexpr int durableWrites = 400;

void writeCommands(benchmark::State& state) {
    Token token;
    std::vector<u8> bytes(frameBytes, 0xA5);
    for (auto _ : state) {
        ++bytes.back();
        need(token.talker().lock() == 0);
        need(token.files().writeFile(token.talker(), filePath, 0, bytes) == 0);
        need(token.talker().unlock(SCARD_LEAVE_CARD) == 0);
    }
}
BENCHMARK(writeCommands)->Iterations(durableWrites)->UseRealTime();

void bareAppend(benchmark::State& state) {
    const Folder folder;
    const token::File file(open(folder.image().c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600));
    const std::vector<u8> bytes(frameBytes, 0xA5);
    for (auto _ : state) {
        need(write(file.descriptor(), bytes.data(), frameBytes) == frameBytes);
        need(fdatasync(file.descriptor()) == 0);
    }
}
BENCHMARK(bareAppend)->Iterations(durableWrites)->UseRealTime();

void readFile(benchmark::State& state) {
    Token token;
    need(token.talker().lock() == 0);
    std::vector<u8> bytes;
    for (auto _ : state) {
        need(token.files().readFile(token.talker(), filePath, 0, fileBytes, bytes) == 0);
    }
    state.SetBytesProcessed(state.iterations() * fileBytes);
}
BENCHMARK(readFile);

// The work of `pr E` with this many bytes.
void encryptUnderProtector(benchmark::State& state) {
    Token token;
    QVProtector protector;
    need(token.talker().lock() == 0 && protector.create(token.talker()) == 0);
    const std::vector<u8> bytes(static_cast<std::size_t>(state.range(0)), 0x5A);
    std::vector<u8> output;
    for (auto _ : state) {
        need(protector.operation(token.talker(), true, bytes, output) == 0);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(encryptUnderProtector)->Arg(1000);

void printFile(benchmark::State& state) {
    const std::vector<u8> bytes(fileBytes, 0x5A);
    std::ofstream nowhere("/dev/null");
    for (auto _ : state) {
        std::copy(bytes.begin(), bytes.end(), HexByteWriter(nowhere));
        nowhere.flush();
    }
    state.SetBytesProcessed(state.iterations() * fileBytes);
}
BENCHMARK(printFile);

void statementOff(benchmark::State& state) {
    u32 value = 0;
    for (auto _ : state) {
        logEvent("bench", "value = ", value);
        benchmark::DoNotOptimize(++value);
    }
}
BENCHMARK(statementOff);

// The argument is the limit on the file's size in kilobytes, 0 for none.
void statementOn(benchmark::State& state) {
    const Folder folder;
    std::ofstream(folder.configuration()) << "Enabled=1\nCycle=" << state.range(0) << '\n';
    setenv("KSIGIL_LOGGING", folder.configuration().c_str(), 1);
    LogGate gate;
    need(gate.logEnabled());
    u32 value = 0;
    for (auto _ : state) {
        if (gate.logEnabled()) {
            writeLog("bench", "value = ", LogForm::decimal, value);
        }
        benchmark::DoNotOptimize(++value);
    }
    setenv("KSIGIL_LOGGING", "/dev/null", 1);
}
BENCHMARK(statementOn)->Arg(0)->Arg(64)->Iterations(100000);

}  // namespace

BENCHMARK_MAIN();
