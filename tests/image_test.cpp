// What killed processes, a failing disk and damage leave of a token, and what its files tell.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <optional>

#include "tests/toolbox/sql.h"
#include "tests/toolbox/trial_token.h"
#include "token/care/backup.h"
#include "token/care/check.h"
#include "token/care/image_copy.h"
#include "token/care/owner.h"
#include "token/image/image_bytes.h"

namespace {

// The databases' disk, of which one call fails: a write (whose first half is then written), a sync,
// a truncation, a deletion, an opening. A full disk fails writes only, all from that one on.
struct FailingDisk {
    static inline int untilFailure = 0;  // calls, the failing one included; 0 or less: none
    static inline bool isFull = false;
    static inline bool hasFailed = false;
    static inline bool isSynced = false;  // what was last changed
    static inline sqlite3_vfs* const real = sqlite3_vfs_find(nullptr);

    static bool fails(bool writes) {
        const bool now = (writes || !isFull) && untilFailure > 0 && --untilFailure == 0;
        hasFailed = hasFailed || now;
        return now || (writes && isFull && hasFailed);
    }

    // In the place of the one that the image's databases look for by its name.
    static int install() {
        static sqlite3_vfs disk = *real;
        disk.xOpen = open;
        disk.xDelete = [](sqlite3_vfs* self, const char* name, int syncs) {
            return fails(false) ? SQLITE_IOERR_DELETE : real->xDelete(self, name, syncs);
        };
        return sqlite3_vfs_register(&disk, 1);
    }

    // Files differ in their locking alone, so that the other methods of one do for all.
    static int open(sqlite3_vfs* self, const char* name, sqlite3_file* file, int flags, int* out) {
        static std::map<const sqlite3_io_methods*, sqlite3_io_methods> failing;
        static const sqlite3_io_methods* methods = nullptr;
        static int (*map)(sqlite3_file*, int, int, int, void volatile**) = nullptr;
        file->pMethods = nullptr;
        const int rv = fails(false) ? SQLITE_CANTOPEN : real->xOpen(self, name, file, flags, out);
        if (file->pMethods != nullptr) {
            methods = file->pMethods;
            sqlite3_io_methods& own = failing[methods] = *methods;
            own.xWrite = [](sqlite3_file* to, const void* from, int size, sqlite3_int64 at) {
                isSynced = false;
                const bool failed = fails(true);
                const int result = methods->xWrite(to, from, failed ? size / 2 : size, at);
                return failed ? (isFull ? SQLITE_FULL : SQLITE_IOERR_WRITE) : result;
            };
            own.xSync = [](sqlite3_file* of, int how) {
                isSynced = true;
                return fails(false) ? SQLITE_IOERR_FSYNC : methods->xSync(of, how);
            };
            own.xTruncate = [](sqlite3_file* of, sqlite3_int64 size) {
                isSynced = false;
                return fails(false) ? SQLITE_IOERR_TRUNCATE : methods->xTruncate(of, size);
            };
            map = map == nullptr ? methods->xShmMap : map;
            own.xShmMap = [](sqlite3_file* of, int at, int size, int more, void volatile** to) {
                return fails(false) ? SQLITE_IOERR_SHMMAP : map(of, at, size, more, to);
            };
            file->pMethods = &own;
        }
        return rv;
    }
};

const int installed = FailingDisk::install();

struct FaultTest : testing::Test {
    // Whether any file of the token holds the bytes.
    bool holds(const std::string& hex) const {
        std::string all;
        for (const auto& file : std::filesystem::directory_iterator(folder.path())) {
            all += contentOf(file.path());
        }
        const token::Buffer bytes = bytesOf(hex);
        return all.find(std::string(bytes.begin(), bytes.end())) != std::string::npos;
    }
    bool holdsASecret() const {
        return holds("7072697661746520") || holds(keyValue) || holds(otherPassword.substr(2));
    }

    ScratchFolder folder;
    std::string path = folder.file("token.db");
};

// The nth write to the private file; its content, in hexadecimal, follows.
std::string nthWrite(unsigned n, std::string& content) {
    const token::Buffer bytes(1 + n * 11 % 997, static_cast<std::uint8_t>(n));
    token::Buffer range;
    token::put16(range, static_cast<std::uint16_t>(n * 37 % 2000));
    token::put16(range, static_cast<std::uint16_t>(bytes.size()));
    content.replace(n * 37 % 2000 * 2, 2 * bytes.size(), hexOf(bytes));
    return "d0 " + hexOf(range) + hexOf(bytes);
}

TEST_F(FaultTest, AKilledWriterLeavesWhatWasAnsweredAndNothingElse) {
    putTrialImage(path);
    auto expected = TrialToken(path).see();
    std::mt19937 random(20);
    unsigned written = 0;
    auto* const answered = static_cast<std::atomic<unsigned>*>(
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    for (int round = 0; round < 300; ++round) {
        const pid_t writer = fork();
        if (writer == 0) {
            TrialToken token(path);
            token.connection->begin();
            token.send(firstLogin + "a4 0002003f0200");
            for (; token.send(nthWrite(written++, expected[1])) == "0090"; ++*answered) {
            }
            _exit(1);
        }
        // Killed as it starts, or so many writes later, however slow the machine.
        const auto writes = static_cast<unsigned>(random() % 10);
        int status = 0;
        while (*answered < writes && waitpid(writer, &status, WNOHANG) == 0) {
            usleep(50);
        }
        usleep(static_cast<unsigned>(random() % (writes == 0 ? 10000 : 1000)));
        kill(writer, SIGKILL);
        waitpid(writer, &status, 0);
        ASSERT_EQ(WTERMSIG(status), SIGKILL);
        for (; *answered > 0; --*answered) {
            nthWrite(written++, expected[1]);
        }
        if (std::filesystem::exists(path + "-wal")) {  // and a part of what was to follow
            std::ofstream(path + "-wal", std::ios::app) << std::string(random() % 9000, 'x');
        }
        token::ImageCopy copy = token::copyImage(path);
        const token::Buffer bytes = token::bytesOf(copy.database);
        put(folder.file("copy.db"), {bytes.begin(), bytes.end()});
        TrialToken token(path);
        ASSERT_EQ(token.send("d2 000000"), "0464") << token.why;
        ASSERT_EQ(token.send("a4 0002003f0200 b0 00000100"), "8269");
        ASSERT_EQ(token.connection->begin(), token::Outcome::good);
        if (token.see() != expected) {
            nthWrite(written++, expected[1]);  // it was under way
        }
        ASSERT_EQ(token.see(), expected) << round;
        ASSERT_EQ(TrialToken(folder.file("copy.db")).see(), expected) << round;
    }
    EXPECT_GT(written, 1000U);
}

constexpr const char* oldPage = "SELECT hex(bytes) FROM page WHERE number = 130";
const struct {
    void (*putImage)(const std::string& path);
    std::string before, change;    // frames; the connecting itself where there is no change
    const char* old = "SELECT 0";  // what the change does away with
} changes[] = {
    {[](const std::string&) {}, "", ""},
    {putTrialImage, "", ""},
    {putTrialImage, "", "20 " + otherPassword},
    {putTrialImage, "", firstLogin},
    {putTrialImage, firstLogin, "d4 " + otherPassword, "SELECT hex(wrapped_key) FROM password"},
    {putTrialImage, firstLogin + "a4 0001003f", "e0 0101c4090500"},
    {putTrialImage, "a4 0002003f0100", "d0 fe03040061626364"},
    {putTrialImage, firstLogin + "a4 0002003f0200", "d0 fe07040061626364"},
    {putTrialImage, firstLogin + "a4 0002003f0300", "d6 " + keyValue,
     "SELECT hex(key) FROM object WHERE id = 3"},
    {putTrialImage, firstLogin + "a4 0002003f0200", "e2 01", oldPage}};

TEST_F(FaultTest, AFailingDiskLeavesAChangeWholeOrUndone) {
    for (const auto& [putImage, before, change, old] : changes) {
        for (const bool full : {false, true}) {
            std::set<std::array<std::string, 5>> seen;
            int call = -1;  // the image as it was; then, at 0, with the change
            do {
                SCOPED_TRACE(before + change + std::to_string(call) + (full ? " full" : ""));
                std::filesystem::remove_all(folder.path());
                std::filesystem::create_directory(folder.path());
                putImage(path);
                std::optional<TrialToken> token;
                std::string replaced;
                if (!change.empty()) {
                    token.emplace(path).send(before);
                    replaced = sql(path, old);
                }
                FailingDisk::untilFailure = call;
                FailingDisk::isFull = full;
                FailingDisk::hasFailed = false;
                FailingDisk::isSynced = false;
                if (change.empty()) {
                    token.emplace(path);
                    EXPECT_EQ(token->connection == nullptr, !token->why.empty());
                } else if (call >= 0) {
                    EXPECT_EQ(token->send(change) == "8165", FailingDisk::hasFailed);
                    EXPECT_TRUE(FailingDisk::hasFailed || FailingDisk::isSynced);
                    EXPECT_FALSE(call == 0 && replaced.size() > 1 &&
                                 holds(replaced.substr(replaced.size() / 2, 32)));
                }
                FailingDisk::untilFailure = FailingDisk::isFull = 0;
                TrialToken later(path);
                const auto now = (token->connection ? *token : later).see();
                EXPECT_EQ(later.see(), now);
                EXPECT_FALSE(holdsASecret());
                seen.insert(now);
            } while (++call < 2 || FailingDisk::hasFailed);
            EXPECT_LE(seen.size(), 2U);
        }
    }
}

TEST_F(FaultTest, WhatAWriteOverwroteGoesWhenTheLogIsEmptied) {
    using Act = std::pair<const char*, std::function<void(TrialToken&)>>;
    const Act acts[] = {
        {"reset", [](auto& token) { token.connection->reset(); }},
        {"reconnect", [](auto& token) { token.connection->reconnect(token::Disposition::leave); }},
        {"reset it", [](auto& token) { token.connection->reconnect(token::Disposition::reset); }},
        {"end", [](auto& token) { token.connection->end(token::Disposition::reset); }},
        {"backup", [this](auto&) { token::backUp(path, folder.file("backup.db")); }},
        {"remove", [](auto& token) { token.slot.remove(); }},
        {"insert", [](auto& token) { token.slot.insert(); }},
        {"close", [](auto& token) { token.connection.reset(); }}};
    for (const auto& [name, act] : acts) {
        putTrialImage(path);
        TrialToken token(path), other(path);
        token.connection->begin();
        token.send(
            "a4 0002003f0100 d0 000004006f6c6421 d0 00000400"
            "6e657721");
        EXPECT_TRUE(holds("6f6c6421")) << name;
        act(token);
        EXPECT_FALSE(holds("6f6c6421")) << name;
    }
}

TEST_F(FaultTest, ALimitOnFilesIsAFailureAndNoEnd) {
    putTrialImage(path);
    TrialToken token(path);
    token.send("a4 0002003f0100");
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit few{100, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &few);
    EXPECT_EQ(token.send("d0 0000010061"), "8165");
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(token.send("d0 0000010061"), "0090");
}

TEST_F(FaultTest, DamageIsNeverTakenForPrivateContent) {
    putTrialImage(path);
    const std::string image = contentOf(path);
    const auto whole = TrialToken(path).see();
    std::mt19937 random(30);
    const int images = std::getenv("KSIGIL_TEST_LONG") == nullptr ? 1000 : 10000;
    for (int i = 0; i < images; ++i) {
        std::string damaged = image;
        damaged.resize(random() % 4 == 0 ? 1 + random() % image.size() : image.size());
        for (unsigned long flips = random() % 16; flips > 0; --flips) {
            char& byte = damaged[random() % damaged.size()];
            byte = static_cast<char>(byte ^ 1 << random() % 8);
        }
        std::filesystem::remove(path + "-wal");
        put(path, damaged);
        TrialToken token(path);
        const auto seen = token.see();
        for (const std::size_t at : {1U, 2U}) {
            ASSERT_TRUE(!seen[at].ends_with("0090") || seen[at] == whole[at]) << i;
        }
        if (seen[1] == "8165" || seen[2] == "8165") {
            const auto key = token::keyOfPowered(path);
            ASSERT_FALSE(token::check(path, &key.value()).problems.empty()) << i;
        }
    }
}

TEST_F(FaultTest, ASealHoldsInItsOwnPlaceOnly) {
    const std::string other = folder.file("other.db");
    token::makeImage(other);
    TrialToken(other).fill();
    const std::tuple<std::size_t, const char*, const char*> rows[] = {
        {1, "8165", "REPLACE INTO page SELECT 128, bytes FROM page WHERE number = 129"},
        {1, "8165", "UPDATE page SET number = number + 448; UPDATE object SET number = number + 7"},
        {1, "8165", "REPLACE INTO page SELECT 128, bytes FROM other.page WHERE number = 128"},
        {2, "8165", "UPDATE object SET key = o.key FROM other.object o WHERE o.id = object.id"},
        {1, "8269", "REPLACE INTO password SELECT * FROM other.password"}};
    for (const auto& [seen, reply, statements] : rows) {
        putTrialImage(path);
        sql(path, "ATTACH '" + other + "' AS other; " + statements);
        EXPECT_EQ(TrialToken(path).see()[seen], reply) << statements;
    }
}

TEST_F(FaultTest, TenFailedLoginsInARowBlockThePassword) {
    putTrialImage(path);
    for (const int failures : {9, 10}) {
        for (int i = 0; i < failures; ++i) {
            EXPECT_EQ(TrialToken(path).send("20 " + otherPassword), "8269");
        }
        EXPECT_EQ(TrialToken(path).send(firstLogin), failures < 10 ? "0090" : "8269");
    }
    token::unblock(path);
    EXPECT_EQ(TrialToken(path).send(firstLogin), "0090");
}

}  // namespace
