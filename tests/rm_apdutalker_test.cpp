#include "apdulib/rm_apdutalker.h"

#include <expectations.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <semaphore>
#include <thread>

#include "apdulib/auto_reconnect_talker.h"
#include "tests/toolbox/bytes.h"
#include "tests/toolbox/recording_resource_manager.h"

namespace {

constexpr const char* reader = "VDW ifdh 0";
constexpr const char* mutexName = "{69614115-19CA-4D5E-9B97-7DD75A3E9464}";  // of the table

ReaderContext* contextOf(RMApduTalker& talker) {
    ReaderContext* context = nullptr;
    talker.getContext(context);
    return context;
}

// The record of a thread that ends at once: records outlive their threads.
ReaderContext* contextOfNewThread(RMApduTalker& talker) {
    ReaderContext* context = nullptr;
    std::thread([&] { context = contextOf(talker); }).join();
    return context;
}

// The reader's table, found by its name as any talker of the process finds it.
struct TableView {
    std::string name = std::to_string(GetCurrentProcessId()) + "_" + reader;
    HANDLE mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                        sizeof(ReaderContextTable), name.c_str());
    bool isNew = GetLastError() != ERROR_ALREADY_EXISTS;
    ReaderContextTable* table = static_cast<ReaderContextTable*>(
        MapViewOfFile(mapping, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, sizeof(ReaderContextTable)));
    ~TableView() {
        UnmapViewOfFile(table);
        CloseHandle(mapping);
    }
};

std::string hex(u64 number) {
    std::ostringstream digits;
    digits << std::hex << number;
    return digits.str();
}

// A command of three bytes from 07, with room for four. Gives the result in hexadecimal and the
// reply, in which a byte 07 is one that the talker has not written.
std::string exchange(RMApduTalker& talker) {
    const u8 command[3] = {7};
    u8 reply[4] = {7, 7, 7, 7};
    u32 length = sizeof reply;
    const u32 rv = talker.transmit(command, sizeof command, reply, &length);
    return hex(rv) + (length == 0 ? "" : " " + hexOf({reply, length}));
}

std::string perform(RMApduTalker& talker, const std::string& operation) {
    const u32 disposition = operation.ends_with("reset")     ? SCARD_RESET_CARD
                            : operation.ends_with("unpower") ? SCARD_UNPOWER_CARD
                                                             : SCARD_LEAVE_CARD;
    const auto detach = [&] {
        talker.detach(disposition);
        return 0U;
    };
    const std::map<std::string, std::function<u64()>> operations{
        {"create", [&] { return talker.create(); }},
        {"lock", [&] { return talker.lock(); }},
        {"unlock", [&] { return talker.unlock(disposition); }},
        {"reconnect", [&] { return talker.reconnect(disposition); }},
        {"detach", detach},
        {"card", [&] { return static_cast<u64>(talker.getCardHandle()); }}};
    return operation == "transmit" ? exchange(talker)
                                   : hex(operations.at(operation.substr(0, operation.find(',')))());
}

// A step is an operation of a talker, its result in hexadecimal, the reply if it is an exchange,
// and the calls that it makes of the resource manager.
struct Script {
    const char* name;
    std::map<std::string, std::deque<u32>> results;  // of the resource manager's calls
    std::vector<std::string> steps;
};

void expectSteps(RMApduTalker& talker, RecordingResourceManager& manager, const Script& script) {
    manager.results = script.results;
    for (std::size_t at = 0; at < script.steps.size(); ++at) {
        const std::string operation = script.steps[at].substr(0, script.steps[at].find(':'));
        const std::string result = perform(talker, operation);
        EXPECT_EQ(operation + ": " + result + manager.take(), script.steps[at])
            << script.name << ", step " << at;
    }
}

template <class Talker>
void expectScripts(std::span<const Script> scripts) {
    for (const Script& script : scripts) {
        RecordingResourceManager manager;
        Talker talker(reader, 2);
        expectSteps(talker, manager, script);
    }
}

const Script scripts[] = {
    {"locks count",
     {},
     {"create: 0", "lock: 0 | open 1 | begin 101", "lock: 0",
      "transmit: 0 90 | transmit 101 2 7 3 4", "unlock, reset: 0", "unlock, unpower: 0 | end 101 2",
      "unlock, reset: 0", "lock: 0 | begin 101", "card: 65",
      "reconnect, reset: 0 | reconnect 101 2 3 1", "unlock: 0 | end 101 0"}},
    {"connecting fails",
     {{"establish", {1, 2}}, {"connect", {3, 0, 4, 5}}, {"transmit", {0, 9}}},
     {"create: 0", "lock: 1 | establish 2", "unlock: 2 | establish 2",
      "transmit: 3 07070707 | open 1 | release 1", "transmit: 0 90 | open 2 | transmit 102 2 7 3 4",
      "transmit: 9 | transmit 102 2 7 3 4", "detach, reset: 0 | disconnect 102 1 | release 2",
      "detach, reset: 0 | open 3 | release 3", "card: 0 | open 4 | release 4",
      "unlock: 0 | open 5"}},
    {"locking fails",
     {{"begin", {1}}, {"end", {0x80100069}}},
     {"create: 0", "lock: 1 | open 1 | begin 101", "unlock: 0", "lock: 0 | begin 101",
      "unlock: 80100069 | end 101 0", "lock: 0", "unlock: 0", "unlock, reset: 0 | end 101 1",
      "lock: 0 | begin 101", "detach, unpower: 0 | disconnect 101 2 | release 1",
      "unlock: 0 | open 2"}}};

TEST(Talker, MakesTheseCalls) {
    expectScripts<RMApduTalker>(scripts);
}

// No mapping can have the mutex's name.
TEST(Talker, DoesNothingWithoutATable) {
    RecordingResourceManager manager;
    RMApduTalker talker(mutexName, 2);
    const Script script{
        "without a table",
        {},
        {"create: 6", "lock: 80004005", "unlock: 80004005", "transmit: 80004005 07070707",
         "reconnect: 80004005", "detach: 0", "card: 0"}};
    expectSteps(talker, manager, script);
    expectSteps(talker, manager, script);
    // Nor where the mapping of its name is another one, which has no room for it.
    const std::string name = std::to_string(GetCurrentProcessId()) + "_small";
    const HANDLE mapping =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 16, name.c_str());
    RMApduTalker other("small", 2);
    const bool hasRoom = perform(other, "create") == "0";
    EXPECT_EQ(hasRoom, smallMappingsHaveRoom);
    EXPECT_EQ(perform(other, "lock"), hasRoom ? "0" : "80004005");
    CloseHandle(mapping);
}

struct OneTalker : testing::Test {
    RecordingResourceManager manager;
    RMApduTalker talker{reader, 2};
    u32 created = talker.create();
    TableView view;
    ReaderContext* records = view.table->records;
};

TEST_F(OneTalker, SendsUnderTheActiveProtocol) {
    for (const auto& [active, header] : {std::pair{1U, 1U}, {2U, 2U}, {0U, 2U}, {0x10000U, 2U}}) {
        manager.protocol = active;
        talker.reconnect(0);
        manager.take();
        exchange(talker);
        EXPECT_EQ(manager.take(), " | transmit 101 " + std::to_string(header) + " 7 3 4");
    }
}

TEST_F(OneTalker, GivesSixtyFourThreadsARecordEach) {
    for (int i = 0; i < 64; ++i) {
        const ReaderContext* const given = i == 5 ? contextOf(talker) : contextOfNewThread(talker);
        EXPECT_EQ(placeInView(given), placeInView(&records[i]));
    }
    manager.take();
    std::thread([&] { EXPECT_EQ(talker.lock(), 0x8007000EU); }).join();
    records[7] = records[3] = {};
    EXPECT_EQ(placeInView(contextOf(talker)), placeInView(&records[5]));
    EXPECT_EQ(manager.take(), "");
    EXPECT_EQ(placeInView(contextOfNewThread(talker)), placeInView(&records[3]));
}

TEST_F(OneTalker, ReservesARecordWhileItConnects) {
    manager.results["connect"] = {1};
    manager.during["connect"] = [&] {
        EXPECT_EQ(records[0].context, static_cast<SCARDCONTEXT>(-1));
        EXPECT_EQ(placeInView(contextOfNewThread(talker)),
                  placeInView(&records[1]));  // held up by nobody
    };
    EXPECT_EQ(talker.lock(), 1U);
    EXPECT_EQ(placeInView(contextOf(talker)), placeInView(&records[0]));
}

// Another thread holds the mutex, which it finds by its name, from an operation's start or from a
// call that the operation makes.
TEST(Talker, ChangesTheTableUnderItsMutex) {
    const std::pair<std::string, std::string> cases[] = {
        {"create", ""},        {"transmit", "connect"}, {"transmit", ""},
        {"detach", "release"}, {"destroy", ""},
    };
    RecordingResourceManager manager;
    MTLock mutex(std::to_string(GetCurrentProcessId()) + "_" + mutexName, nullptr);
    auto talker = std::make_unique<RMApduTalker>(reader, 2U);
    for (const auto& [operation, call] : cases) {
        std::promise<void> taken;  // with mingw-w64 a std::latch may wait for ever
        bool isOver = false;
        std::jthread holder;
        const auto hold = [&] {
            holder = std::jthread([&] {
                const LockGuard guard(&mutex);
                taken.set_value();
                std::this_thread::sleep_for(std::chrono::milliseconds(30));
                isOver = true;
            });
            taken.get_future().wait();
        };
        if (call.empty()) {
            hold();
        } else {
            manager.during[call] = hold;
        }
        if (operation == "destroy") {
            talker.reset();
        } else {
            perform(*talker, operation);
        }
        EXPECT_TRUE(isOver) << operation << " " << call;
    }
    EXPECT_TRUE(TableView().isNew);
}

// Two threads in calls that wait for each other would wait for ever.
TEST(Talker, HoldsNoMutexInACall) {
    RecordingResourceManager manager;
    MTLock mutex(std::to_string(GetCurrentProcessId()) + "_" + mutexName, nullptr);
    RMApduTalker talker(reader, 2U);
    std::counting_semaphore<> taken(0);
    std::deque<std::jthread> others;
    for (const char* call :
         {"establish", "connect", "begin", "transmit", "reconnect", "end", "disconnect"}) {
        manager.during[call] = [&, call] {
            others.emplace_back([&] {
                const LockGuard guard(&mutex);
                taken.release();
            });
            EXPECT_TRUE(taken.try_acquire_for(std::chrono::seconds(2))) << call;
        };
    }
    for (const char* operation : {"create", "lock", "transmit", "reconnect", "unlock", "detach"}) {
        perform(talker, operation);
    }
    EXPECT_EQ(others.size(), 7U);
}

TEST_F(OneTalker, KeepsTheRecordsOfThreadsApart) {
    std::promise<void> start;
    const std::shared_future<void> started = start.get_future().share();
    const auto work = [&] {
        started.wait();
        for (int i = 0; i < 300; ++i) {
            const ReaderContext* const own = contextOf(talker);
            EXPECT_EQ(talker.lock(), 0U);
            EXPECT_EQ(exchange(talker), "0 90");
            EXPECT_EQ(talker.unlock(SCARD_LEAVE_CARD), 0U);
            EXPECT_EQ(own->threadId, GetCurrentThreadId());
            EXPECT_EQ(contextOf(talker), own);
            talker.detach(0);
        }
    };
    {
        std::jthread threads[16];
        std::generate_n(threads, 16, [&] { return std::jthread(work); });
        start.set_value();
    }
    EXPECT_TRUE(std::none_of(records, records + 64, [](auto& record) { return record.inUse(); }));
}

TEST(Talker, SharesTheTableOfItsReader) {
    RecordingResourceManager manager;
    auto first = std::make_unique<RMApduTalker>(reader, 2);
    auto second = std::make_unique<RMApduTalker>(reader, 1);
    RMApduTalker elsewhere("VDW ifdh 1", 1);
    const TableView view;
    for (const auto& [talker, count] : {std::pair{&first, 1U}, {&first, 1U}, {&second, 2U}}) {
        RMApduTalker& made = **talker;
        std::jthread([&made] { EXPECT_EQ(made.create(), 0U); }).join();
        EXPECT_EQ(view.table->refCount, count);
    }
    elsewhere.create();
    EXPECT_EQ(first->lock(), 0U);
    EXPECT_EQ(second->lock(), 0U);
    EXPECT_EQ(elsewhere.lock(), 0U);
    EXPECT_EQ(placeInView(contextOf(*second)), placeInView(view.table->records));
    EXPECT_EQ(view.table->records[0].lockCount, 2U);
    EXPECT_EQ(view.table->records[0].grabbed, 1U);
    contextOfNewThread(*second);
    EXPECT_EQ(manager.take(),
              " | open 1 | begin 101 | establish 2 | connect 2 1 3 VDW ifdh 1 | begin 102"
              " | establish 2 | connect 3 1 3 VDW ifdh 0");
    first.reset();
    EXPECT_EQ(manager.take(), "");
    second.reset();
    EXPECT_EQ(manager.take(), " | disconnect 101 0 | release 1 | disconnect 103 0 | release 3");
}

TEST(TalkerDeathTest, EndsTheProcessOnABrokenLockRecord) {
    ReaderContext record{};
    EXPECT_EXIT(record.lockReleased(), testing::ExitedWithCode(1),
                "^Assertion failed: !\"Unlocked lock released.\" at file: apdulib/rm_apdutalker at "
                "line: 85\n$");
    record.lockGrabbed();
    EXPECT_EXIT(record.lockGrabbed(), testing::ExitedWithCode(1),
                "!\"Double lock grabbed.\" at file: apdulib/rm_apdutalker at line: 71\n$");
}

const Script recoveries[] = {
    {"a reset in a transaction",
     {{"transmit", {0x80100068, 0x80100068}}, {"begin", {0, 6}}},
     {"create: 0", "lock: 0 | open 1 | begin 101", "lock: 0",
      "transmit: 80100068 | transmit 101 2 7 3 4 | reconnect 101 2 3 0 | transmit 101 2 7 3 4",
      "unlock: 0", "unlock: 0 | end 101 0"}},
    {"lost in an exchange",
     {{"transmit", {6, 0, 6}}, {"reconnect", {0, 1}}},
     {"create: 0", "lock: 0 | open 1 | begin 101",
      "transmit: 0 90 | transmit 101 2 7 3 4 | disconnect 101 0 | release 1 | open 2 | reconnect "
      "102 2 3 0 | transmit 102 2 7 3 4",
      "unlock: 0",
      "transmit: 1 | transmit 102 2 7 3 4 | disconnect 102 0 | release 2 | open 3 | reconnect 103 "
      "2 3 0"}},
    {"never back",
     {{"connect", {0x80100017, 0x80100017, 0x80100017}}},
     {"create: 0",
      "lock: 80100017 | open 1 | release 1 | open 2 | release 2 | open 3 | release 3"}},
    {"lost at a lock",
     {{"begin", {6, 0, 0x80100068}}, {"end", {6, 0x80100068}}},
     {"create: 0",
      "lock: 0 | open 1 | begin 101 | disconnect 101 0 | release 1 | open 2 | reconnect 102 2 3 0 "
      "| begin 102",
      "unlock: 0 | end 102 0 | disconnect 102 0 | release 2 | open 3 | reconnect 103 2 3 0",
      "lock: 0 | begin 103 | reconnect 103 2 3 0 | begin 103",
      "unlock: 0 | end 103 0 | reconnect 103 2 3 0 | end 103 0"}}};

TEST(AutoReconnectTalker, MakesTheseCalls) {
    expectScripts<AutoReconnectTalker>(recoveries);
}

TEST(AutoReconnectTalker, RecoversOnFourValuesOnly) {
    const std::set<u32> lost{6, 0x80100017, 0x80100069};  // such a card is connected to anew
    for (const u32 value : {6U, 0x80100017U, 0x80100069U, 0x80100068U, 1U, 0x80004005U, 0x8007000EU,
                            0x80100003U, 0x8010000CU}) {
        const bool isLost = lost.contains(value);
        const bool recovers = isLost || value == 0x80100068;
        RecordingResourceManager manager;
        AutoReconnectTalker talker(reader, 2);
        talker.create();
        manager.results["transmit"] = {value};
        EXPECT_EQ(exchange(talker), recovers ? "0 90" : hex(value));
        EXPECT_EQ(manager.take().find("disconnect") != std::string::npos, isLost) << value;
    }
}

}  // namespace
