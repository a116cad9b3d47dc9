#include <gmock/gmock.h>
#include <sys/shm.h>

#include <optional>
#include <thread>

#include "tests/toolbox/process.h"
#include "tests/toolbox/scratch_image.h"
#include "tests/toolbox/sql.h"
#include "token/base/system.h"
#include "token/door/slot.h"
#include "token/image/image.h"
#include "token/power/lock_file.h"
#include "token/power/powered_state.h"

namespace {

using Case = std::pair<const char*, const char*>;

struct ToolTest : testing::Test {
    // 1 is a private file of 3 pages, 2 a two-factor key, 3 a directory with the public file 4.
    void fill() {
        const std::string made = "login 1234 mf 3f000001 3000 PRV mk 3f000002 2F md 3f000003 PUB ";
        const std::string filled = "wk 3f000002 0123456789abcdef mf 3f0000030004 9 PUB exit";
        shell("echo '" + made + filled + "' | " QVSH " any");
    }

    // A process with an image open must not read its file.
    std::string shell(const std::string& command) {
        return ::run("exec 2>&1; export KSIGIL_TOKEN=t.db; cd " + folder.path() + "; " + command);
    }

    // The tool with the right password on its standard input. What it fails at changes nothing.
    void run(const std::string& arguments, int status, const std::string& said) {
        const std::string before = shell("sha1sum $(ls | grep -v 'lock\\|shm')");
        EXPECT_THAT(shell("T=" TOOL "; yes 1234 | { $T " + arguments + "; }"),
                    testing::ContainsRegex(said + ".*/" + std::to_string(status) + "$"));
        if (status != 0 && arguments.find("--login") == std::string::npos) {
            EXPECT_EQ(shell("sha1sum $(ls | grep -v 'lock\\|shm')"), before) << arguments;
        }
    }

    ScratchFolder folder{Medium::disk};
    std::string path = folder.file("t.db");
};

TEST_F(ToolTest, LooksAfterAnImage) {
    for (const char* name : {"show", "check", "eject", "insert", "reset", "unblock", "backup b"}) {
        run(name, 2, "there is no image");
        run(name + std::string(" --help"), 0, "Usage: ksigil-token ");
    }
    run("restore b", 2, "there is no image");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    run("create && $T show --json && $T reset", 0, "is 1234.*: \"3f00\",.*not powered");
    run("eject && $T show && $T insert && $T show", 0, "reader: no.*reader: yes.*public .*3f00");
    run("backup b && $T restore b && stat -c %a b t.db", 0, "Backed up.*Restored.*600/600");
    for (const auto& [arguments, said] :
         {Case{"create", "exists already"}, Case{"backup b", "b exists already"},
          Case{"restore t.db", "is the image itself"}, Case{"--image '' show", "names no file"},
          Case{"show >/dev/full", "not be"}, Case{"check --login </dev/null", "no password"}}) {
        run(arguments, 2, said);
    }
    run("show; for n in $(seq 10); do echo bad | $T check --login; done; $T check --login", 2,
        "row: 1 of 10.*row: 9 of 10.*is blocked.*is blocked");
    run("unblock && $T check --login", 0, "logins: 0.*is sound");
}

TEST_F(ToolTest, LooksAfterATokenInUse) {
    fill();
    token::Slot slot({path, false});
    const auto connection = connectionTo(slot);
    answer(*connection, frameOf("20", "0431323334"));
    answer(*connection, frameOf("a4", "0002003f0100"));
    std::jthread writer([&](const std::stop_token& stop) {  // over and over, each time two pages
        while (!stop.stop_requested()) {
            EXPECT_EQ(answer(*connection, frameOf("d0", "ff0302000102")), "0090");
        }
    });
    run("backup a && $T backup b && $T --image b check --login", 0, "Backed up.*is sound");
    writer = {};
    sql(path, "CREATE TRIGGER late BEFORE UPDATE ON page BEGIN SELECT RAISE(ABORT, ''); END");
    EXPECT_EQ(answer(*connection, frameOf("d0", "ff0302000102")), "0090");
    sql(path, "DROP TRIGGER late");
    run("restore a", 2, "is powered");
    run("serve", 2, "is powered");
    sql(path, "UPDATE page SET bytes = zeroblob(1052) WHERE number = 65");
    run("check", 1, "3f000001, page 1: does not authenticate");  // under the token's own key
    run("reset && $T check", 0, "was reset.*was not opened");
    EXPECT_EQ(answer(*connection, frameOf("de", "00")), "reset");
}

TEST_F(ToolTest, KeepsOthersFromAServedImage) {
    Process server(TOOL " --image " + path + " serve --vpcd 127.0.0.1:1 2>&1");
    EXPECT_THAT(server.hear(), testing::HasSubstr("Cannot reach the reader at 127.0.0.1:1"));
    run("show && $T check && $T backup b; $T serve; echo logout | KSIGIL_PCSC=embedded " QVSH
        " any; true",
        0, "yes.*no/.*sound.*Backed.* by process .* by process .*0x8010000b");
    const token::LockFile file(path);
    const token::LockFile::ConnectLock lock(file);
    std::this_thread::sleep_for(std::chrono::milliseconds(400));  // until the server waits for it
    EXPECT_EQ(server.end(SIGTERM), 0);
}

const Case damages[] = {
    {"page SET bytes = (SELECT bytes FROM page LIMIT 1) WHERE number = 65", "1, page 1: does not"},
    {"object SET key = zeroblob(44) WHERE id = 2", "3f000002, value: does not authenticate"},
    {"page SET number = 67 WHERE number = 66", "1: page 67 belongs .*3f000001, page 2: missing"},
    {"page SET bytes = x'' WHERE number = 64", "3f000001, page 0: a wrong length"},
    {"object SET parent = 99 WHERE id = 4", "[?]{4}0004: its directory is missing"},
    {"object SET parent = 1 WHERE id = 4", "3f0000010004: it stands in what is no directory"},
    {"object SET parent = 3 WHERE id = 3", "0003: it is too deep, or its directories"},
    {"sqlite_schema SET rootpage = 3 WHERE name = 'page'", "database: "},
    {"object SET number = 1 << 57 WHERE id = 4", "0004: its number is out of range"},
    {"sqlite_sequence SET seq = 1 << 57", "database: its next object's number is out of range"},
    {"sqlite_schema SET sql = replace(sql, '(parent', '(number') WHERE name = 'object'",
     "not those"},
    {"sqlite_schema SET sql = replace(sql, 'INTEGER NOT NULL', 'ANY') WHERE name = 'object'",
     "not those"},
    {"token SET present = 1; CREATE TABLE '\x1B[31m' (x)", "database: it has more tables"},
    {"token SET present = 2; PRAGMA user_version = 9", "file: .*version 9"}};

// What is done to an image's folder, and why every use of the image is refused.
const Case plants[] = {
    {"echo x >t.db-wal; ln t.db-wal other", "t.db-wal .* is a link or no file"},
    {"ln -s /dev/null t.db-shm", "t.db-shm .* is a link or no file"},
    {"mkfifo t.db-wal", "t.db-wal .* is a link or no file"},
    {"echo x >t.db-wal; chmod 640 t.db-wal", "t.db-wal .* is open to other users"},
    {"echo x >t.db-shm; chown 1 t.db-shm || chmod 604 t.db-shm", "another user's|open to other"},
    {"touch t.db-journal", "t.db-journal .* is a rollback journal"},
    {"ln -s other t.db.lock", "cannot lock the image with .*lock"},
    {"mkfifo -m 600 t.db.lock", "t.db.lock: it is something else"},
    {"touch t.db.lock; ln t.db.lock other", "t.db.lock: it has a second name"},
    {"touch t.db.lock; chmod 604 t.db.lock", "t.db.lock: it is open to other users"},
    {"touch t.db.lock; chown 1 t.db.lock || chmod 604 t.db.lock", "lock: it is (another|open)"},
    {"truncate -s 9M t.db", "is longer than any token image"}};

TEST_F(ToolTest, TrustsNothingBesideAnImage) {
    const std::string sums = "sha1sum $(find . -type f -size +0 | grep -v lock)";
    for (const auto& [plant, said] : plants) {
        shell("rm -rf *");
        putFreshImage(path);
        shell(plant);
        const std::string before = shell(sums);
        for (const std::string command : {"show", "check", "backup b", "unblock"}) {
            EXPECT_THAT(shell(TOOL " " + command), testing::ContainsRegex(said)) << plant;
        }
        EXPECT_THAT(shell("echo logout | " QVSH " any"), testing::ContainsRegex(said)) << plant;
        try {  // what is put there behind the first look
            token::Database(path, SQLITE_OPEN_READWRITE).execute("SELECT * FROM token");
        } catch (const token::Fault&) {
        }
        EXPECT_EQ(shell(sums), before) << plant;
    }
    shell("rm -rf *");
    putFreshImage(path);
    putFreshImage(folder.file("other.db"));
    shell("ln other.db second");
    EXPECT_THROW(token::Database(folder.file("other.db"), SQLITE_OPEN_READWRITE), token::Fault);
    EXPECT_THAT(shell("cp other.db kept; " TOOL
                      " backup 'file:other.db?x='; cmp other.db kept; ls -1 file*"),
                testing::ContainsRegex("Backed.*file:other.db[?]x=/0$"));
    EXPECT_THAT(shell(TOOL " --image \"$(printf '\\033[31m')\" show"),
                testing::HasSubstr("/?[31m"));
    // As a disk leaves it that lost its end: it can be read, so that this is damage that is found.
    shell("truncate -s 20000 t.db");
    EXPECT_THAT(shell(TOOL " check"), testing::EndsWith("/1"));
    // No rollback journal is ever made, and no image beside another one's log.
    putFreshImage(path);
    EXPECT_THROW(token::Database(path, SQLITE_OPEN_READWRITE)
                     .execute("PRAGMA journal_mode = DELETE; DROP TABLE page"),
                 token::Fault);
    EXPECT_FALSE(std::filesystem::exists(path + "-journal"));
    EXPECT_THAT(shell("mv t.db t.db-wal; " TOOL " create; echo logout | " QVSH " any"),
                testing::ContainsRegex("but its .*-wal: put.*but its .*-wal: put"));
}

// The test's own process is the neighbour, which does nothing while it has the lock.
TEST_F(ToolTest, IsHeldUpByNoStoppedNeighbour) {
    putFreshImage(path);
    token::Slot slot({path, false});
    const auto connection = connectionTo(slot);
    const std::string line = "waiting for process " + std::to_string(getpid()) + ", which connects";
    const std::string environment = "env KSIGIL_TOKEN=" + path + " sh -c 'exec ";
    const token::LockFile file(path);
    {
        const token::LockFile::ConnectLock lock(file);
        Process shows(environment + TOOL " show 2>&1'"),
            shell(environment + QVSH " any 2>&1 >/dev/null'");
        run("reset", 0, "was reset");
        EXPECT_EQ(answer(*connection, frameOf("de", "00")), "reset");
        shell.say("logout");
        EXPECT_EQ(shows.hear(1500), "waits");
        EXPECT_THAT(shows.hear(), testing::StartsWith("ksigil-token: " + line));
        EXPECT_THAT(shell.hear(), testing::StartsWith("ksigil: " + line));
    }
    std::optional<Process> unblocks;
    {
        token::Image image(path);
        const token::Image::Change change(image);
        unblocks.emplace(environment + TOOL " unblock 2>&1'");
        EXPECT_THAT(unblocks->hear(),
                    testing::HasSubstr(std::to_string(getpid()) + ", which works"));
    }
    EXPECT_THAT(unblocks->hear(), testing::HasSubstr("is not blocked"));
    shell("mv t.db moved");
    for (const char* command : {"echo logout | " QVSH " any", TOOL " create"}) {
        EXPECT_THAT(shell(command), testing::HasSubstr("was removed while in use")) << command;
        EXPECT_FALSE(std::filesystem::exists(path));
    }
}

// Memory that another user has made, or may have written to, is neither read nor written, whoever
// wrote its number into the lock file.
TEST_F(ToolTest, UsesNoOtherUsersMemory) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can act as another user";
    }
    putFreshImage(path);
    EXPECT_EQ(shell("chown 1 t.db; " TOOL " insert >/dev/null; stat -c %u *.lock; rm *.lock"),
              "1/0");
    const token::LockFile file(path);
    token::LockFile::Memory forged{-1, 7, token::system().memorySpace(), 0};
    file.lockUser(1);
    for (const auto& [user, mode] : {std::pair{2U, 0600}, {1U, 0666}}) {
        if (fork() == 0) {
            std::ignore = setuid(user);
            forged.id = shmget(getppid(), sizeof(token::PoweredState), IPC_CREAT | mode);
            auto* const state = static_cast<token::PoweredState*>(shmat(forged.id, nullptr, 0));
            state->formed = token::PoweredState::layout;
            state->stamp = 7;
            _exit(0);
        }
        const pid_t maker = wait(nullptr);
        forged.id = shmget(getpid(), 0, 0);
        file.setMemory(forged);
        EXPECT_THAT(shell("echo logout | " QVSH " any; " TOOL " reset"),
                    testing::ContainsRegex("cannot be reached: another.*cannot be reached.*/2$"));
        shmid_ds about;
        EXPECT_EQ(shmctl(forged.id, IPC_STAT, &about), 0);
        EXPECT_EQ(about.shm_lpid, maker);
        shmctl(forged.id, IPC_RMID, nullptr);
    }
}

// In the folder of a user's image, in whose log, after a crash of the superuser's shell, stands
// 0005.
const Case others[] = {
    {"stat -c %u t.db t.db-wal t.db-shm t.db.lock", "^1/1/1/1/0$"},
    {"unshare -m sh -c 'mount --bind . . && mount -o remount,ro,bind . && cd $PWD && $T show; "
     "$T check; $T backup ../$$; rm ../$$; $T unblock'",
     "Its log: .*3f000005/.*is sound.*Backed up.*t.db.lock: Read-only file system/2$"},
    {"$U check; ls t.db-wal; $T backup b; $T restore b; stat -c %u:%a t.db*",
     "sound.*/t.db-wal/Backed.*/Restored.*/1:600/1:600/0$"},
    {"chown 0 t.db; $U show; $U check; $U backup b", "(t.db: Permission denied.*){3}"}};

TEST_F(ToolTest, WorksForItsOwnerAndWhereNothingCanBeWritten) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only the superuser is another user, too";
    }
    for (const auto& [commands, said] : others) {
        shell("rm -rf *; chown 1 .; chmod go+x ..");
        putFreshImage(path);
        shell("chown 1 t.db");
        if (fork() == 0) {
            token::Slot slot({path, false});
            const auto connection = connectionTo(slot);
            answer(*connection, frameOf("a4", "0001003f"));
            answer(*connection, frameOf("e0", "020000000500"));
            _exit(0);
        }
        wait(nullptr);
        EXPECT_THAT(shell("export T=" TOOL "; U=\"setpriv --reuid 1 --clear-groups $T\"; " +
                          std::string(commands)),
                    testing::ContainsRegex(said))
            << commands;
    }
}

TEST_F(ToolTest, FindsDamageAndRestoresOverIt) {
    fill();
    shell("cp t.db whole");
    for (const auto& [damage, said] : damages) {
        sql(path, std::string("PRAGMA writable_schema = ON; UPDATE ") + damage);
        run("check --login", 1, said);
        run("restore whole && $T check --login && rm -f t.db.replaced", 0, "Restored.*is sound");
    }
    putFreshImage(folder.file("fresh"));
    sql(path, "DELETE FROM page WHERE number = 66");
    run("backup bad", 2, "damaged.*3f000001, page 2: missing");
    // A crash's log stays with its image, and does not come to stand beside the new one.
    for (const bool cutOff : {false, true}) {
        shell("cp whole t.db");
        if (fork() == 0) {
            token::Database database(path, SQLITE_OPEN_READWRITE);
            database.execute("PRAGMA cache_size = 1; BEGIN; UPDATE page SET bytes = x'00'");
            _exit(0);
        }
        wait(nullptr);
        if (cutOff) {  // as a restoring leaves it that ended in between
            shell("ln t.db t.db.replaced; mv t.db-wal t.db.replaced-wal");
        }
        run("restore fresh && ls && $T check --login", 0, "fresh/t.db/t.db.lock/w.*is sound");
    }
}

}  // namespace
