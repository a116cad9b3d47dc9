#include <gtest/gtest.h>

#include <latch>
#include <memory>
#include <sstream>
#include <thread>

#include "apdulib/auto_reconnect_talker.h"
#include "tests/toolbox/recording_resource_manager.h"

namespace {

constexpr const char* reader = "VDW ifdh 0";
constexpr const char* mutexName = "{69614115-19CA-4D5E-9B97-7DD75A3E9464}";  // of the table

// Runs an operation, a digit being its disposition. Gives its result, and behind an exchange the
// length and first byte of the reply.
std::string perform(RMApduTalker& talker, const std::string& operation) {
    const auto argument = static_cast<u32>(operation.back() - '0');
    const u8 command[3] = {7};
    u8 reply[4] = {7};
    u32 length = 4;
    std::ostringstream result;
    result << std::hex
           << (operation == "lock"                  ? talker.lock()
               : operation == "create"              ? talker.create()
               : operation == "card"                ? talker.getCardHandle()
               : operation == "transmit"            ? talker.transmit(command, 3, reply, &length)
               : operation.starts_with("unlock")    ? talker.unlock(argument)
               : operation.starts_with("reconnect") ? talker.reconnect(argument)
                                                    : (talker.detach(argument), 0));
    if (operation == "transmit") {
        result << ',' << length << ',' << +reply[0];
    }
    return result.str();
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
    bool isNew = GetLastError() != ERROR_ALREADY_EXISTS;
    ReaderContextTable* table = static_cast<ReaderContextTable*>(
        MapViewOfFile(mapping, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, sizeof(ReaderContextTable)));
    ~TableView() {
        UnmapViewOfFile(table);
        CloseHandle(mapping);
    }
};

enum Kind { plain, recovering, tableless };

const struct {
    Kind kind;
    std::map<std::string, std::deque<u32>> results;
    const char* transcript;  // of each operation its result and the calls that it makes
} scripts[] = {
    {tableless,
     {},
     "create 6; lock 80004005; unlock0 80004005; transmit 80004005,4,7; reconnect0 80004005; "
     "detach0 0; card 0; create 6; lock 80004005; unlock0 80004005; detach0 0; card 0; "},
    {plain,
     {},
     "create 0; lock 0 | open 1 | begin 101; lock 0; transmit 0,1,90 | transmit 101 2 7 3 4; "
     "unlock1 0; unlock2 0 | end 101 2; unlock1 0; lock 0 | begin 101; card 65; "
     "reconnect1 0 | reconnect 101 2 3 1; unlock0 0 | end 101 0; "},
    {plain,
     {{"establish", {1, 2}}, {"connect", {3, 0, 4, 5}}, {"transmit", {0, 9}}},
     "create 0; lock 1 | establish 2; unlock0 2 | establish 2; transmit 3,4,7 | open 1 | "
     "release 1; transmit 0,1,90 | open 2 | transmit 102 2 7 3 4; transmit 9,0,90 | transmit "
     "102 2 7 3 4; detach1 0 | disconnect 102 1 | release 2; detach1 0 | open 3 | release 3; "
     "card 0 | open 4 | release 4; unlock0 0 | open 5; "},
    {plain,
     {{"begin", {1}}, {"end", {0x80100069}}},
     "create 0; lock 1 | open 1 | begin 101; unlock0 0; lock 0 | begin 101; "
     "unlock0 80100069 | end 101 0; lock 0; unlock0 0; unlock1 0 | end 101 1; lock 0 | begin 101; "
     "detach2 0 | disconnect 101 2 | release 1; unlock0 0 | open 2; "},
    {recovering,
     {{"transmit", {0x80100068, 0x80100068}}, {"begin", {0, 6}}},
     "create 0; lock 0 | open 1 | begin 101; lock 0; transmit 80100068,0,90 | transmit 101 2 7 "
     "3 4 | reconnect 101 2 3 0 | transmit 101 2 7 3 4; unlock0 0; unlock0 0 | end 101 0; "},
    {recovering,
     {{"transmit", {6, 0, 6}}, {"reconnect", {0, 1}}},
     "create 0; lock 0 | open 1 | begin 101; transmit 0,1,90 | transmit 101 2 7 3 4"
     " | disconnect 101 0 | release 1 | open 2 | reconnect 102 2 3 0 | transmit 102 2 7 3 4; "
     "unlock0 0; transmit 1,0,90 | transmit 102 2 7 3 4 | disconnect 102 0 | release 2 | open 3"
     " | reconnect 103 2 3 0; "},
    {recovering,
     {{"connect", {0x80100017, 0x80100017, 0x80100017}}},
     "create 0; lock 80100017 | open 1 | release 1 | open 2 | release 2 | open 3 | release 3; "},
    {recovering,
     {{"begin", {6, 0, 0x80100068}}, {"end", {6, 0x80100068}}},
     "create 0; lock 0 | open 1 | begin 101 | disconnect 101 0 | release 1 | open 2"
     " | reconnect 102 2 3 0 | begin 102; unlock0 0 | end 102 0 | disconnect 102 0 | release 2"
     " | open 3 | reconnect 103 2 3 0; lock 0 | begin 103 | reconnect 103 2 3 0 | begin 103; "
     "unlock0 0 | end 103 0 | reconnect 103 2 3 0 | end 103 0; "},
};

TEST(Talker, MakesTheseCalls) {
    for (const auto& script : scripts) {
        RecordingResourceManager manager;
        manager.results = script.results;
        // No mapping can have the mutex's name.
        const auto talker =
            script.kind == recovering
                ? std::make_unique<AutoReconnectTalker>(reader, 2U)
                : std::make_unique<RMApduTalker>(script.kind == plain ? reader : mutexName, 2U);
        std::istringstream words(script.transcript);
        std::string happened;
        for (std::string operation; words >> operation; words.ignore(1000, ';')) {
            happened += operation + " " + perform(*talker, operation);
            happened += manager.take() + "; ";
        }
        EXPECT_EQ(happened, script.transcript);
    }
}

TEST(Talker, RecoversOnFourValuesOnly) {
    for (const u32 value : {6U, 0x80100017U, 0x80100069U, 0x80100068U, 1U, 0x80004005U, 0x8007000EU,
                            0x80100003U, 0x8010000CU}) {
        RecordingResourceManager manager;
        AutoReconnectTalker talker(reader, 2);
        talker.create();
        manager.results["transmit"] = {value};
        const std::string outcome = perform(talker, "transmit");
        const bool isLost = value == 6 || value == 0x80100017 || value == 0x80100069;
        EXPECT_EQ(outcome == "0,1,90", isLost || value == 0x80100068) << value;
        EXPECT_EQ(manager.take().find("disconnect") != std::string::npos, isLost) << value;
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
        perform(talker, "transmit");
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
    RecordingResourceManager manager;
    MTLock mutex(std::to_string(GetCurrentProcessId()) + "_" + mutexName, nullptr);
    auto talker = std::make_unique<RMApduTalker>(reader, 2U);
    for (const std::string operation :
         {"create", "connect transmit", "transmit", "release detach0", "destroy"}) {
        std::latch taken(1);
        bool isOver = false;
        std::jthread holder;
        manager.during[operation.substr(0, operation.find(' '))] = [&] {
            holder = std::jthread([&] {
                const LockGuard guard(&mutex);
                taken.count_down();
                std::this_thread::sleep_for(std::chrono::milliseconds(30));
                isOver = true;
            });
            taken.wait();
        };
        if (const auto atStart = manager.during.extract(operation)) {
            atStart.mapped()();
        }
        operation == "destroy" ? talker.reset()
                               : void(perform(*talker, operation.substr(operation.find(' ') + 1)));
        EXPECT_TRUE(isOver) << operation;
    }
    EXPECT_TRUE(TableView().isNew);
}

TEST_F(OneTalker, KeepsTheRecordsOfThreadsApart) {
    std::latch start(16);
    const auto work = [&] {
        start.arrive_and_wait();
        for (int i = 0; i < 300; ++i) {
            const ReaderContext* const own = contextOf(talker);
            for (const char* operation : {"lock", "transmit", "unlock0"}) {
                EXPECT_EQ(perform(talker, operation)[0], '0');
            }
            EXPECT_EQ(own->threadId, GetCurrentThreadId());
            EXPECT_EQ(contextOf(talker), own);
            talker.detach(0);
        }
    };
    for (std::jthread threads[16]; std::jthread & thread : threads) {
        thread = std::jthread(work);
    }
    EXPECT_FALSE(std::any_of(records, records + 64, [](auto& record) { return record.inUse(); }));
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
