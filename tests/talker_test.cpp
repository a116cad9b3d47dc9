#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <thread>

#include "apdulib/auto_reconnect_talker.h"
#include "tests/recording_resource_manager.h"

namespace {

constexpr const char* reader = "VDW ifdh 0";

u32 send(RMApduTalker& talker) {
    const u8 command[] = {7, 0, 0};
    u8 reply[4] = {};
    u32 length = sizeof reply;
    const u32 rv = talker.transmit(command, sizeof command, reply, &length);
    EXPECT_TRUE(rv != 0 || (length == 1 && reply[0] == 0x90));
    return rv;
}

// Runs "lock", "unlock0", "transmit", "reconnect1" or "detach2", with its disposition.
u32 perform(RMApduTalker& talker, const std::string& operation) {
    const auto argument = static_cast<u32>(operation.back() - '0');
    return operation == "lock"                  ? talker.lock()
           : operation.starts_with("unlock")    ? talker.unlock(argument)
           : operation.starts_with("reconnect") ? talker.reconnect(argument)
           : operation == "transmit"            ? send(talker)
                                                : (talker.detach(argument), 0);
}

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
    ReaderContextTable* table = static_cast<ReaderContextTable*>(
        MapViewOfFile(mapping, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, sizeof(ReaderContextTable)));
    ~TableView() {
        UnmapViewOfFile(table);
        CloseHandle(mapping);
    }
};

const struct {
    bool recovers;
    std::map<std::string, std::deque<u32>> results;
    const char* transcript;  // of each operation its result and the calls that it makes
} scripts[] = {
    {false,
     {},
     "lock 0 | open 1 | begin 101; lock 0; transmit 0 | transmit 101 2 7 3 4; unlock1 0; "
     "unlock2 0 | end 101 2; unlock1 0; lock 0 | begin 101; reconnect1 0 | reconnect 101 2 3 1; "
     "unlock0 0 | end 101 0; "},
    {false,
     {{"establish", {1, 2}}, {"connect", {3, 0, 4}}},
     "lock 1 | establish 2; unlock0 2 | establish 2; transmit 3 | open 1 | release 1; "
     "transmit 0 | open 2 | transmit 102 2 7 3 4; detach1 0 | disconnect 102 1 | release 2; "
     "detach1 0 | open 3 | release 3; unlock0 0 | open 4; "},
    {false,
     {{"begin", {1}}, {"end", {0x80100069}}},
     "lock 1 | open 1 | begin 101; unlock0 0; lock 0 | begin 101; unlock0 80100069 | end 101 0; "
     "lock 0; unlock0 0; unlock1 0 | end 101 1; lock 0 | begin 101; "
     "detach2 0 | disconnect 101 2 | release 1; unlock0 0 | open 2; "},
    {true,
     {{"transmit", {0x80100068, 0x80100068}}, {"begin", {0, 6}}},
     "lock 0 | open 1 | begin 101; lock 0; "
     "transmit 80100068 | transmit 101 2 7 3 4 | reconnect 101 2 3 0 | transmit 101 2 7 3 4; "
     "unlock0 0; unlock0 0 | end 101 0; "},
    {true,
     {{"transmit", {6, 0, 6}}, {"reconnect", {0, 1}}},
     "lock 0 | open 1 | begin 101; transmit 0 | transmit 101 2 7 3 4 | disconnect 101 0 | release 1"
     " | open 2 | reconnect 102 2 3 0 | transmit 102 2 7 3 4; unlock0 0; transmit 1"
     " | transmit 102 2 7 3 4 | disconnect 102 0 | release 2 | open 3 | reconnect 103 2 3 0; "},
    {true,
     {{"connect", {0x80100017, 0x80100017, 0x80100017}}},
     "lock 80100017 | open 1 | release 1 | open 2 | release 2 | open 3 | release 3; "},
};

TEST(Talker, MakesTheseCalls) {
    for (const auto& script : scripts) {
        RecordingResourceManager manager;
        manager.results = script.results;
        const auto talker = script.recovers ? std::make_unique<AutoReconnectTalker>(reader, 2U)
                                            : std::make_unique<RMApduTalker>(reader, 2U);
        EXPECT_EQ(talker->create(), 0U);
        std::istringstream words(script.transcript);
        std::ostringstream happened;
        for (std::string operation; words >> operation; words.ignore(1000, ';')) {
            const u32 rv = perform(*talker, operation);
            happened << operation << ' ' << std::hex << rv << manager.take() << "; ";
        }
        EXPECT_EQ(happened.str(), script.transcript);
    }
}

TEST(Talker, RecoversOnFourValuesOnly) {
    struct {
        const char *operation, *call;
        std::string before, after;  // what the operation calls on the first connection and the next
    } const rows[] = {
        {"lock", "begin", " | begin 101", " | begin 102"},
        {"unlock0", "end", " | end 101 0", ""},
        {"transmit", "transmit", " | transmit 101 2 7 3 4", " | transmit 102 2 7 3 4"}};
    for (const auto& row : rows) {
        const std::string reset = " | reconnect 101 2 3 0" + row.before;
        const std::string lost =
            " | disconnect 101 0 | release 1 | open 2 | reconnect 102 2 3 0" + row.after;
        for (const u32 value : {6U, 0x80100017U, 0x80100069U, 0x80100068U, 1U, 0x80004005U,
                                0x8007000EU, 0x80100003U, 0x8010000CU}) {
            const bool gone = value == 6 || value == 0x80100017 || value == 0x80100069;
            const std::string recovery = value == 0x80100068 ? reset : gone ? lost : "";
            SCOPED_TRACE(row.operation + (" " + std::to_string(value)));
            RecordingResourceManager manager;
            AutoReconnectTalker talker(reader, 2);
            talker.create();
            perform(talker, row.after == " | begin 102" ? "unlock0" : "lock");
            manager.take();
            manager.results[row.call] = {value};
            EXPECT_EQ(perform(talker, row.operation), recovery.empty() ? value : 0);
            EXPECT_EQ(manager.take(), row.before + recovery);
        }
    }
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
        send(talker);
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
    manager.duringConnect = [&] {
        EXPECT_EQ(records[0].context, 0xFFFFFFFFU);
        EXPECT_EQ(contextOfNewThread(talker), &records[1]);  // held up by nobody
    };
    EXPECT_EQ(talker.lock(), 1U);
    EXPECT_EQ(contextOf(talker), &records[0]);
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
    EXPECT_EQ(first->lock() + second->lock() + elsewhere.lock(), 0U);
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

TEST(Talker, FailsWithoutATable) {
    RecordingResourceManager manager;
    // The name of the process's mutex, so that no mapping can have it.
    RMApduTalker talker("{69614115-19CA-4D5E-9B97-7DD75A3E9464}", 2);
    for (int times = 0; times < 2; ++times) {
        for (const char* operation : {"lock", "unlock0", "transmit", "reconnect0"}) {
            EXPECT_EQ(perform(talker, operation), 0x80004005U) << operation;
        }
        talker.detach(0);
        EXPECT_EQ(talker.getCardHandle(), 0U);
        EXPECT_EQ(talker.create(), 6U);
    }
    EXPECT_EQ(manager.take(), "");
}

TEST(TalkerDeathTest, EndsTheProcessOnABrokenLockRecord) {
    const std::string where = "\" at file: apdulib/rm_apdutalker at line: ";
    ReaderContext record{};
    EXPECT_EXIT(record.lockReleased(), testing::ExitedWithCode(1),
                "^Assertion failed: !\"Unlocked lock released." + where + "85\n$");
    record.lockGrabbed();
    EXPECT_EXIT(record.lockGrabbed(), testing::ExitedWithCode(1),
                "^Assertion failed: !\"Double lock grabbed." + where + "71\n$");
}

}  // namespace
