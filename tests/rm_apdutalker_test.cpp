#include "apdulib/rm_apdutalker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <latch>
#include <memory>
#include <thread>
#include <utility>

#include "tests/toolbox/recording_resource_manager.h"
#include "tests/toolbox/talker_steps.h"

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

const Script scripts[] = {
    {"locks count",
     {},
     {{"create", 0},
      {"lock", 0, " | open 1 | begin 101"},
      {"lock", 0},
      {"transmit", 0, " | transmit 101 2 7 3 4", "90"},
      {"unlock, reset", 0},
      {"unlock, unpower", 0, " | end 101 2"},
      {"unlock, reset", 0},
      {"lock", 0, " | begin 101"},
      {"card", 0x65},
      {"reconnect, reset", 0, " | reconnect 101 2 3 1"},
      {"unlock", 0, " | end 101 0"}}},
    {"connecting fails",
     {{"establish", {1, 2}}, {"connect", {3, 0, 4, 5}}, {"transmit", {0, 9}}},
     {{"create", 0},
      {"lock", 1, " | establish 2"},
      {"unlock", 2, " | establish 2"},
      {"transmit", 3, " | open 1 | release 1", "07070707"},
      {"transmit", 0, " | open 2 | transmit 102 2 7 3 4", "90"},
      {"transmit", 9, " | transmit 102 2 7 3 4"},
      {"detach, reset", 0, " | disconnect 102 1 | release 2"},
      {"detach, reset", 0, " | open 3 | release 3"},
      {"card", 0, " | open 4 | release 4"},
      {"unlock", 0, " | open 5"}}},
    {"locking fails",
     {{"begin", {1}}, {"end", {0x80100069}}},
     {{"create", 0},
      {"lock", 1, " | open 1 | begin 101"},
      {"unlock", 0},
      {"lock", 0, " | begin 101"},
      {"unlock", 0x80100069, " | end 101 0"},
      {"lock", 0},
      {"unlock", 0},
      {"unlock, reset", 0, " | end 101 1"},
      {"lock", 0, " | begin 101"},
      {"detach, unpower", 0, " | disconnect 101 2 | release 1"},
      {"unlock", 0, " | open 2"}}},
};

TEST(Talker, MakesTheseCalls) {
    for (const Script& script : scripts) {
        RecordingResourceManager manager;
        RMApduTalker talker(reader, 2);
        expectSteps(talker, manager, script);
    }
}

// No mapping can have the mutex's name.
TEST(Talker, DoesNothingWithoutATable) {
    RecordingResourceManager manager;
    RMApduTalker talker(mutexName, 2);
    const Script script{"without a table",
                        {},
                        {{"create", 6},
                         {"lock", 0x80004005},
                         {"unlock", 0x80004005},
                         {"transmit", 0x80004005, "", "07070707"},
                         {"reconnect", 0x80004005},
                         {"detach", 0},
                         {"card", 0}}};
    expectSteps(talker, manager, script);
    expectSteps(talker, manager, script);
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
        EXPECT_EQ(i == 5 ? contextOf(talker) : contextOfNewThread(talker), &records[i]);
    }
    manager.take();
    std::thread([&] { EXPECT_EQ(talker.lock(), 0x8007000EU); }).join();
    records[7] = records[3] = {};
    EXPECT_EQ(contextOf(talker), &records[5]);
    EXPECT_EQ(manager.take(), "");
    EXPECT_EQ(contextOfNewThread(talker), &records[3]);
}

TEST_F(OneTalker, ReservesARecordWhileItConnects) {
    manager.results["connect"] = {1};
    manager.during["connect"] = [&] {
        EXPECT_EQ(records[0].context, 0xFFFFFFFFU);
        EXPECT_EQ(contextOfNewThread(talker), &records[1]);  // held up by nobody
    };
    EXPECT_EQ(talker.lock(), 1U);
    EXPECT_EQ(contextOf(talker), &records[0]);
}

// Another thread holds the mutex, which it finds by its name, from an operation's start or from a
// call that the operation makes.
TEST(Talker, ChangesTheTableUnderItsMutex) {
    const struct {
        std::string operation, call;
    } cases[] = {
        {"create", ""},        {"transmit", "connect"}, {"transmit", ""},
        {"detach", "release"}, {"destroy", ""},
    };
    RecordingResourceManager manager;
    MTLock mutex(std::to_string(GetCurrentProcessId()) + "_" + mutexName, nullptr);
    auto talker = std::make_unique<RMApduTalker>(reader, 2U);
    for (const auto& [operation, call] : cases) {
        std::latch taken(1);
        bool isOver = false;
        std::jthread holder;
        const auto hold = [&] {
            holder = std::jthread([&] {
                const LockGuard guard(&mutex);
                taken.count_down();
                std::this_thread::sleep_for(std::chrono::milliseconds(30));
                isOver = true;
            });
            taken.wait();
        };
        if (call.empty()) {
            hold();
        } else {
            manager.during[call] = hold;
        }
        if (operation == "destroy") {
            talker.reset();
        } else if (operation == "transmit") {
            exchange(*talker);
        } else {
            perform(*talker, operation);
        }
        EXPECT_TRUE(isOver) << operation << " " << call;
    }
    EXPECT_TRUE(TableView().isNew);
}

TEST_F(OneTalker, KeepsTheRecordsOfThreadsApart) {
    std::latch start(16);
    const auto work = [&] {
        start.arrive_and_wait();
        for (int i = 0; i < 300; ++i) {
            const ReaderContext* const own = contextOf(talker);
            EXPECT_EQ(talker.lock(), 0U);
            EXPECT_EQ(exchange(talker).rv, 0U);
            EXPECT_EQ(talker.unlock(SCARD_LEAVE_CARD), 0U);
            EXPECT_EQ(own->threadId, GetCurrentThreadId());
            EXPECT_EQ(contextOf(talker), own);
            talker.detach(0);
        }
    };
    for (std::jthread threads[16]; std::jthread & thread : threads) {
        thread = std::jthread(work);
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
        EXPECT_EQ((*talker)->create(), 0U);
        EXPECT_EQ(view.table->refCount, count);
    }
    elsewhere.create();
    EXPECT_EQ(first->lock(), 0U);
    EXPECT_EQ(second->lock(), 0U);
    EXPECT_EQ(elsewhere.lock(), 0U);
    EXPECT_EQ(contextOf(*second), view.table->records);
    EXPECT_EQ(view.table->records[0].lockCount, 2U);
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

}  // namespace
