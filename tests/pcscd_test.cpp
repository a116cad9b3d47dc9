#include <gmock/gmock.h>
#include <sys/file.h>

#include <atomic>
#include <optional>
#include <thread>

#include "Components/qv_aid/qv_password.h"
#include "apdulib/auto_reconnect_talker.h"
#include "include/ksigil.h"
#include "tests/toolbox/process.h"
#include "tests/toolbox/scratch_image.h"
#include "tests/toolbox/transcripts.h"
#include "token/base/file.h"

namespace {

using testing::ContainsRegex;

#define SHELL "KSIGIL_PCSC=system " QVSH " any 2>&1"

// A pcscd and, in its second slot, a fresh token. All have the one socket, so tests take turns.
struct Pcscd : testing::Test {
    token::File turn{open("/tmp/ksigil-pcscd-test", O_RDWR | O_CREAT | O_CLOEXEC, 0600)};
    ScratchFolder folder;
    const int port = 20000 + getpid() % 6000 * 2;
    const std::string tool = TOOL " --image " + folder.file("token.db");
    std::optional<Process> pcscd, server;
    RMApduTalker plain{"VDW ifdh 0", 2};
    AutoReconnectTalker mending{"VDW ifdh 0 00 01", 2};

    void SetUp() override {
        flock(turn.descriptor(), LOCK_EX);
        const std::string found =
            run("exec 2>&1; test $(id -u) = 0 && type pcscd scriptor socat && ls " DRIVER);
        if (!found.ends_with(".so/0") ||
            run("echo logout | " SHELL).find("no pcscd answers") == std::string::npos) {
            ASSERT_EQ(std::getenv("KSIGIL_NEED_PCSCD"), nullptr) << found;
            GTEST_SKIP() << "pcscd cannot be started here, or another one runs: " << found;
        }
        setenv("KSIGIL_PCSC", "system", 1);
        putFreshImage(folder.file("token.db"));
        run("mkdir " + folder.file("readers; sed s/0x8C7B/") + std::to_string(port) +
            "/ " EXAMPLE " >" + folder.file("readers/conf"));
        server.emplace(tool + " serve --vpcd 127.0.0.1:" + std::to_string(port + 1) + " >" +
                       folder.file("served"));
        startPcscd();
        EXPECT_EQ(plain.create() + mending.create(), 0U);
    }
    void startPcscd() {
        // Where pcscd asks polkit whom it may serve, nobody may answer.
        pcscd.emplace(
            "pcscd --foreground $(pcscd --help 2>&1 | grep -o -e --disable-polkit) --config " +
            folder.file("readers") + " >/dev/null");
        awaitToken();
    }
    void awaitToken() {
        run("for n in $(seq 99); do echo logout | " SHELL " && break; sleep 0.1; done");
    }
};

u32 send(RMApduTalker& talker) {
    return QVPassword().logout(talker);
}

TEST_F(Pcscd, AnswersTheShellAsTheEmbeddedToken) {
    for (const auto& [input, expected] : transcripts) {
        std::ofstream(folder.file("input")) << input;
        EXPECT_TRUE(run(SHELL " <" + folder.file("input")).ends_with("--/" + expected + "0"))
            << input;
        plain.detach(SCARD_RESET_CARD);  // power, and the login, outlive a shell
    }
    const std::string path = folder.file("forwarded");
    Process forward("socat UNIX-LISTEN:" + path + ",fork UNIX-CONNECT:/run/pcscd/pcscd.comm");
    EXPECT_THAT(run("until [ -S " + path +
                    " ]; do sleep 0.01; done; echo logout | "
                    "PCSCLITE_CSOCK_NAME=" +
                    path + " " SHELL),
                ContainsRegex(">OK./>/0"));
}

// Without a login that stays: the token is pcscd's, and keeps it.
TEST_F(Pcscd, ServesTheProgramOfSingleCommands) {
    put(folder.file("pw"), "1234");
    put(folder.file("f"), std::string(3000, '\0') + "end");
    EXPECT_THAT(
        run("exec 2>&1; cd " + folder.path() +
            "; export KSIGIL_PCSC=system; K=" KSIGIL
            "; P='--password-file pw'; $K put f 3f000001 --private $P; $K ls -l; "
            "$K get 3f000001 | wc -c; $K get 3f000001 $P g; cmp f g; $K export t.tar $P; "
            "$K rm -r --force 3f00 $P; $K import t.tar $P; rm g; $K get 3f000001 g $P; "
            "cmp f g; $K rm 3f000001 $P; $K ls"),
        ContainsRegex("^file +private +3003 +0001/ksigil: the password is wanted[^/]*/0/0$"));
}

TEST_F(Pcscd, AnswersRawFrames) {
    const std::string exchanges =
        ">002000000000050431323334<0090>00A400000000040001003F<003F0200000000000090"
        ">00E00000000006010100010100<0090>00E00000000006030218000200<0090"
        ">00D20000000003000000<0200010002000090>00A400000000060002003FA1A1<0764"
        ">00A400000000060002003F0100<01000101000100000090>00D0000000000600000200AABB<0090"
        ">00B0000000000400000300<AABB000090>00A400000000060002003F0200<02000302180000000090"
        ">00D6000000001030313233343536373839616263646566<0090"
        ">00D800000000090021FE303C997CA56E<61626305050505050090>00E2000000000102<0364>00D2<876A";
    EXPECT_EQ(run("echo '" + exchanges +
                  "' | tr '>' '\\n' | sed 's/<.*//; s/../& /g' | "
                  "scriptor -r 'VDW ifdh 0 00 01' 2>&- | sed '1d; s/:.*//' | tr -d ' \\n'"),
              exchanges + "0");
}

// The token leaves its reader under a lock, and a plain talker stays with what it had.
TEST_F(Pcscd, LosesAndMendsTheTokenAndPcscd) {
    for (RMApduTalker* talker : {&plain, static_cast<RMApduTalker*>(&mending)}) {
        const bool mends = talker == &mending;
        const u32 out = mends ? 0x8010000C : 0x80100069;
        for (const char* word : {" eject", " reset"}) {
            EXPECT_EQ(talker->lock(), 0U);
            run(tool + word);
            for (int i = 0; i < 40 && send(*talker) != out; ++i) {
                run("sleep 0.02");
            }
            EXPECT_EQ(talker->unlock(0), out) << word;
            EXPECT_EQ(talker->lock(), mends ? out : 0);
            run(tool + " insert");
            awaitToken();
            EXPECT_EQ(send(*talker), mends ? 0 : out) << word;
            EXPECT_EQ(talker->unlock(0), 0U);
            talker->detach(0);
        }
        EXPECT_EQ(send(*talker), 0U);
        std::thread([&] { talker->detach(SCARD_RESET_CARD); }).join();
        EXPECT_EQ(talker->lock(), mends ? 0 : 0x80100068);
        EXPECT_EQ(talker->unlock(0), 0U);
        EXPECT_EQ(send(*talker), mends ? 0 : 0x80100068);
    }
    plain.detach(0);
    EXPECT_EQ(send(mending), 0U);
    EXPECT_EQ(plain.lock(), 0U);
    pcscd->end(SIGKILL);
    EXPECT_EQ(send(plain), 6U);
    EXPECT_EQ(send(mending), 0x8010001DU);
    startPcscd();
    EXPECT_EQ(mending.lock(), 0U);
    EXPECT_EQ(send(mending), 0U);
    EXPECT_EQ(mending.unlock(0), 0U);
    EXPECT_EQ(server->end(SIGTERM), 0);
    EXPECT_THAT(contentOf(folder.file("served")), ContainsRegex("served.*Lost.*served"));
}

// A handle outlives what it leads to: one failure tells of the loss, and the next call connects
// anew.
TEST_F(Pcscd, IsLostAndFoundAgainByALibrarysUser) {
    ksigil_token* token = nullptr;
    ASSERT_EQ(ksigil_open("VDW ifdh 0", &token), 0U) << ksigil_reason();
    ksigil_reader readers[2];
    size_t count = 0;
    EXPECT_EQ(ksigil_readers(readers, 2, &count), 0U);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(readers[0].has_token + 2 * readers[1].has_token, 2);
    // By the reader's other name it is the same user, who does not wait for itself.
    ksigil_token* same = nullptr;
    EXPECT_EQ(ksigil_lock(token) + ksigil_open(readers[1].name, &same), 0U) << ksigil_reason();
    EXPECT_EQ(ksigil_lock(same) + ksigil_unlock(token) + ksigil_unlock(same), 0U);
    ksigil_close(same);
    const struct {
        std::function<void()> loss, mend;
        uint32_t result;
    } losses[] = {
        {[&] { std::thread([&] { plain.detach(SCARD_RESET_CARD); }).join(); }, [] {},
         KSIGIL_TOKEN_RESET},
        {[&] { run(tool + " eject"); }, [&] { run(tool + " insert"); }, KSIGIL_TOKEN_REMOVED},
        {[&] { run(tool + " reset"); }, [] {}, KSIGIL_TOKEN_REMOVED},
        {[&] { pcscd->end(SIGKILL); }, [&] { startPcscd(); }, KSIGIL_LOST_MANAGER},
    };
    for (const auto& [loss, mend, result] : losses) {
        EXPECT_EQ(ksigil_logout(token), 0U) << ksigil_reason();
        // Another's reset waits for the lock.
        EXPECT_EQ(result == KSIGIL_TOKEN_RESET ? 0 : ksigil_lock(token), 0U);
        loss();
        uint32_t rv = 0;
        for (int i = 0; i < 99 && rv != result; ++i) {
            rv = ksigil_logout(token);
            run("sleep 0.02");
        }
        EXPECT_EQ(rv, result);
        EXPECT_EQ(ksigil_unlock(token), 0U);
        mend();
        awaitToken();
    }
    ksigil_close(token);
}

TEST_F(Pcscd, ServesOneAtATime) {
    std::atomic<u32> inside = 0;
    std::vector<std::jthread> threads;
    for (int i = 0; i < 64; ++i) {
        threads.emplace_back([&] {
            EXPECT_EQ(plain.lock(), 0U);
            EXPECT_EQ(inside++, 0U);
            EXPECT_EQ(send(plain), 0U);
            EXPECT_EQ(--inside, 0U);
            EXPECT_EQ(plain.unlock(0), 0U);
        });
    }
    threads.clear();
    EXPECT_EQ(run("exec 2>&1; (printf 'login '; sleep 1; echo held >&2; echo 1234) | " SHELL
                  " >/dev/null & sleep 0.3; echo logout | " SHELL " | grep OK; wait"),
              "held/>OK./0");
}

}  // namespace
