#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <array>

#include "tests/toolbox/process.h"
#include "tests/toolbox/scratch_image.h"
#include "tests/toolbox/sql.h"
#include "token/base/waiting.h"
#include "token/door/slot.h"
#include "token/image/image.h"
#include "token/image/image_header.h"
#include "token/rules/token.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using token::Outcome;

constexpr const char* loginFrame = "0431323334";  // "1234"

// Of what, and exchanges in threes of words: the instruction, the data field, the whole reply.
using Step = std::pair<const char*, const char*>;

class TokenTest : public testing::Test {
  protected:
    TokenTest() {
        putFreshImage(path_);
        connection_ = connectionTo(slot_);
    }

    std::string send(const std::string& ins, const std::string& data) {
        return answer(*connection_, frameOf(ins, data));
    }

    void run(const std::vector<Step>& steps) {
        for (const auto& [what, exchanges] : steps) {
            std::istringstream words(exchanges);
            for (std::string ins, data, reply; words >> ins >> data >> reply;) {
                EXPECT_EQ(send(ins, data), reply) << what << ": " << ins << " " << data;
            }
        }
    }

    ScratchFolder folder_;
    std::string path_ = folder_.file("token.db");
    token::Slot slot_{{path_, false}};
    std::unique_ptr<token::Connection> connection_;
};

TEST_F(TokenTest, ChecksTheFrameInOrder) {
    // Each reply with the frames that get it.
    const std::pair<const char*, const char*> cases[] = {
        // Too short, byte 4, Lc above and below what follows; all of that is judged before INS.
        {"876a",
         "00a400000000 00a400000100040001003f 00a400000000050001003f 00a500000100040001003f"},
        {"876a", "00a400000000030001003f"},
        {"0068", "80a400000000040001003f 00a500000000040001003f 00a501000000040001003f"},
        // P1, and P2 before what the data field holds.
        {"866a", "00a401000000040001003f 00a400010000040101003f"},
        // The data field's length, and the length or count byte in it.
        {"876a", "00a400000000040002003f 00a40000000003000000 00a4000000000100 00200000000000"},
        {"876a", "00200000000003013131 00dc0000000000 00e000000000050100000001"},
        {"876a", "00d000000000050000020061 00d6000000000f000000000000000000000000000000"},
        // Mode, selector, types, attributes that a file and a key can't have, cipher's direction.
        {"0364", "00a400000000040101003f 00d20000000003000001 00e00000000006000000000100"},
        {"0364", "00e00000000006040000000100 00e00000000006010200000100 00e2000000000100"},
        {"0364", "00e00000000006030018000100 00d80000000009020000000000000000"},
        {"00010090", "00de000000000100"}};
    EXPECT_EQ(answer(*connection_, {}), "876a");
    for (const auto& [reply, frames] : cases) {
        std::istringstream words(frames);
        for (std::string frame; words >> frame;) {
            EXPECT_EQ(answer(*connection_, bytesOf(frame)), reply) << frame;
        }
    }
    // Colour 4, packages 1 and 3, the serial number, bytes in use and in all.
    const std::string info = send("da", "00");
    EXPECT_EQ(info.substr(0, 6) + info.substr(22), "040a0000000000000004000090");
}

TEST_F(TokenTest, KeepsItsTreeByTheRules) {
    run({{"nothing is selected; nor can be deleted", "d2 000000 0464  e2 02 0464"},
         {"no ids; another root", "a4 0000 0764  a4 00010100 0764"},
         {"still nothing; no key", "b0 00000000 0464  d8 010000000000000000 1564"},
         {"the root; it stays", "a4 0001003f 003f0200000000000090  e2 02 0564"},
         {"it is no file", "b0 00000000 0564"},
         {"nor a key", "d6 00000000000000000000000000000000 0564"},
         {"nor a cipher; reserved", "d8 010000000000000000 1564  e0 01000000003f 0864"},
         {"reserved", "e0 01000000ff3f 0864  e0 01000000ffff 0864"},
         {"a directory has no size", "e0 020001000100 0b64"},
         {"a key has one size; more than there is", "e0 030217000100 0b64  e0 0100ffff0100 0090"},
         {"the same id; a directory", "e0 020000000100 0864  e0 020000000200 0090"},
         {"the selection stayed", "d2 000000 0200010002000090"},
         {"two at most; the file", "d2 010000 010001000090  a4 0002003f0100 01000100ffff00000090"},
         {"a missing child; leaves the selection", "a4 0002003f0300 0764  b0 feff0100 000090"},
         {"one byte beyond; nothing at the end", "b0 feff0200 0b64  b0 ffff0000 0090"},
         {"beyond writes nothing; across pages", "d0 feff02006162 0b64  d0 fe03040061626364 0090"},
         {"reads back; no directory", "b0 fd030600 0061626364000090  d2 000000 0564"},
         {"nothing in a file", "e0 010000000100 0564"},
         {"a child of a file; another type", "a4 0003003f01000100 0764  e2 02 0364"},
         {"into the directory", "a4 0002003f0200 02000200000000000090"},
         {"a file in it; not empty", "e0 010001000100 0090  e2 02 0664"},
         {"its file; goes", "a4 0003003f02000100 01000100010000000090  e2 01 0090"},
         {"and is not selected; nor found", "e2 01 0464  a4 0003003f02000100 0764"},
         {"the empty directory; goes", "a4 0002003f0200 02000200000000000090  e2 02 0090"}});
}

TEST_F(TokenTest, GuardsWhatIsPrivate) {
    run({{"the root; private file", "a4 0001003f 003f0200000000000090  e0 010101000100 8269"},
         {"two factor key; the id is judged later", "e0 030318000200 8269  e0 01010100003f 8269"},
         {"no change; wrong; right", "d4 0161 8269  20 0431323335 8269  20 0431323334 0090"},
         {"private file; two factor key", "e0 010101000100 0090  e0 030318000200 0090"},
         {"private directory; one factor key", "e0 020100000300 0090  e0 030218000400 0090"},
         {"out; out again; listed", "dc 00 0090  dc 00 0090  d2 000000 040001000200030004000090"},
         {"selected; not read", "a4 0002003f0100 01000101010000000090  b0 00000100 8269"},
         {"not written; not deleted", "d0 0000010061 8269  e2 01 8269"},
         {"login before type; directory", "e2 02 8269  a4 0002003f0300 03000201000000000090"},
         {"no public file in it; listed all the same", "e0 010001000100 8269  d2 000000 00000090"},
         {"two factor", "a4 0002003f0200 02000303180000000090"},
         {"not written", "d6 000102030405060708090a0b0c0d0e0f 8269"},
         {"never written comes first", "d8 010000000000000000 0564"},
         {"one factor", "a4 0002003f0400 04000302180000000090"},
         {"never written", "d8 010000000000000000 0564"},
         {"open to all; used", "d6 000102030405060708090a0b0c0d0e0f 0090  e2 01 0364"},
         {"login; empty; changed", "20 0431323334 0090  d4 00 1664  d4 03616263 0090"},
         {"the old one ends the login; indeed", "20 0431323334 8269  d4 0161 8269"},
         {"the new one; two factor", "20 03616263 0090  a4 0002003f0200 02000303180000000090"},
         {"written; out", "d6 000102030405060708090a0b0c0d0e0f 0090  dc 00 0090"},
         {"not used", "d8 010000000000000000 8269"}});
}

std::string wireId(unsigned id) {
    return hexOf(token::Buffer{static_cast<std::uint8_t>(id), static_cast<std::uint8_t>(id >> 8)});
}

TEST_F(TokenTest, HasRoomUpToItsLimits) {
    send("a4", "0001003f");
    for (int i = 1; i <= 4; ++i) {
        EXPECT_EQ(send("e0", "0100ffff" + wireId(0x100U + static_cast<unsigned>(i))), "0090");
    }
    EXPECT_EQ(send("e0", "010005000200"), "0964");  // 4 * 65535 and 4 are 256 KiB
    EXPECT_EQ(send("e0", "010004000200"), "0090");
    EXPECT_EQ(send("e0", "030218000300"), "0964");
    EXPECT_EQ(send("e0", "020000000300"), "0090");

    // Directories: 1024 in each of four, but that the four and the files count as well.
    sql(path_,
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1023)"
        "INSERT INTO object (parent, id, type, attribute, size) SELECT 6, i, 2, 0, 0 FROM n");
    send("a4", "0002003f0300");
    EXPECT_EQ(send("e0", "020000000040"), "0090");
    EXPECT_EQ(send("e0", "020000000140"), "0964");
    EXPECT_EQ(send("d2", "000000").size(), 2U * (2 + 2 * 1024 + 2));
    sql(path_,
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 3065)"
        "INSERT INTO object (parent, id, type, attribute, size) "
        "SELECT 7 + i / 1000, i, 2, 0, 0 FROM n");
    send("a4", "0001003f");
    EXPECT_EQ(send("e0", "020000000040"), "0090");
    EXPECT_EQ(send("e0", "020000000140"), "0964");
}

TEST_F(TokenTest, IsAtMost255LevelsDeep) {
    std::string path = "003f";
    for (unsigned level = 2; level <= 255; ++level) {
        EXPECT_EQ(send("a4", "00" + wireId(level - 1).substr(0, 2) + path).substr(16), "0090");
        EXPECT_EQ(send("e0", "020000000100"), "0090");
        path += "0100";
    }
    EXPECT_EQ(send("a4", "00ff" + path.substr(0, path.size() - 4) + "0200"), "0764");
    EXPECT_EQ(send("a4", "00ff" + path), "01000200000000000090");
    EXPECT_EQ(send("e0", "020000000100"), "0564");
}

TEST_F(TokenTest, LetsNoOvertakenChangeHappen) {
    token::Image image(path_);
    token::Token token(image);
    token::Session session;
    const auto sent = [&](const char* ins, const char* data, bool overtaken) {
        return hexOf(token.execute(session, frameOf(ins, data), [=] { return !overtaken; }));
    };
    sent("20", loginFrame, false);
    sent("a4", "0001003f", false);
    EXPECT_EQ(sent("e0", "010001000100", true), "8165");
    EXPECT_EQ(sent("d4", "0161", true), "8165");
    EXPECT_EQ(sent("20", loginFrame, false), "0090");
    EXPECT_EQ(sent("d2", "000000", false), "00000090");
    EXPECT_EQ(sent("e0", "020000000100", false), "0090");
    EXPECT_EQ(sent("a4", "0002003f0100", false).substr(16), "0090");
    EXPECT_EQ(sent("e2", "02", true), "8165");
    sql(path_, "DELETE FROM object");  // as a frame of before a reset may do to a selection
    EXPECT_EQ(sent("e0", "010001000100", false), "8165");
}

TEST_F(TokenTest, AnswersForADamagedImage) {
    run({{"root; file", "a4 0001003f 003f0200000000000090  e0 0100ff080100 0090"},
         {"key; select", "e0 030218000200 0090  a4 0002003f0100 01000100ff0800000090"}});
    sql(path_,
        "DELETE FROM page WHERE number = 65; UPDATE page SET bytes = x'00' WHERE number = 66;"
        "UPDATE object SET key = x'0102' WHERE number = 2; UPDATE password SET cost_n = 3");
    EXPECT_EQ(send("b0", "00000004"), std::string(2048, '0') + "0090");
    run({{"a page is gone; a page is short", "b0 00000104 8165  b0 00080100 8165"},
         {"nothing is written; not its first half", "d0 ff0302006162 8165  b0 ff030100 000090"},
         {"login; key", "20 0431323334 8165  a4 0002003f0200 02000302180000000090"},
         {"cut", "d8 010000000000000000 8165"}});
    sql(path_, "UPDATE object SET type = 9 WHERE number = 1");
    EXPECT_EQ(send("a4", "0002003f0100"), "8165");
    EXPECT_EQ(send("d8", "010000000000000000"), "8165");  // the key is still selected
    sql(path_, "DROP TABLE object");
    EXPECT_EQ(send("a4", "0002003f0200"), "8165");
}

std::string connectTo(const token::ImagePlace& place) {
    token::Slot slot(place);
    std::unique_ptr<token::Connection> connection;
    std::string why;
    return slot.connect(connection, why) == Outcome::good ? "good" : why;
}

void putText(const std::string& path) {
    put(path, std::string(5000, 'x'));
}

struct ImageFileTest : testing::Test {
    const ScratchFolder folder{Medium::disk};
    const std::string image = folder.file("token.db");
};

// Why the file is refused, the command that makes it, and the statements on it.
const std::array<std::string, 3> wrongPlaces[] = {
    {"is not a file", "mkdir", ""},
    {"is not a file", "mkfifo", ""},
    {"is empty", "touch", ""},
    {"is not a token image", "seq 1000 >", ""},
    {"is not a token image", ":", "PRAGMA journal_mode = WAL; CREATE TABLE t (x)"},
    {"is a token image of version 1", "cp fresh", "PRAGMA user_version = 1"},
    {"is a token image of version 2", "cp fresh", "PRAGMA user_version = 2"},
    {"is a token image of version 3", "cp fresh", "PRAGMA user_version = 3"},
    {"is a token image of version 5; this program knows version 4", "cp fresh",
     "PRAGMA user_version = 5"},
    {"in another journal mode", "cp fresh", "PRAGMA journal_mode = DELETE"},
    {"its tables are not those of an image", ":",
     "PRAGMA application_id = 0x6B536967; PRAGMA user_version = 4; PRAGMA journal_mode = WAL;"
     "CREATE TABLE t (x)"},
    {"has a second name", "ln fresh", ""},
    {"Repeat it", "cp fresh 'a 100%?#.db.replaced'; ln *.replaced", ""},
    {"cannot be found", "ln -s nothing", ""}};

TEST_F(ImageFileTest, WhatIsNoImageIsNeverWritten) {
    for (const auto& [reason, command, statements] : wrongPlaces) {
        const ScratchFolder own(Medium::disk);
        const std::string path = own.file("a 100%?#.db");
        putFreshImage(own.file("fresh"));
        EXPECT_EQ(::run("cd " + own.path() + "; " + command + " 'a 100%?#.db'"), "0");
        if (!statements.empty()) {
            sql(path, statements);
        }
        const bool file = fs::is_regular_file(path);
        const std::string before = file ? contentOf(path) : "";
        EXPECT_THAT(connectTo({path, false}), HasSubstr(reason));
        EXPECT_EQ(file ? contentOf(path) : "", before) << reason;
    }
}

TEST_F(ImageFileTest, PlacesThatCannotBeUsedAreRefused) {
    EXPECT_THAT(connectTo({folder.file("no/token.db"), false}), HasSubstr("cannot be found"));
    EXPECT_FALSE(fs::exists(folder.file("no")));
    EXPECT_THAT(connectTo({"", true}), HasSubstr("has no place"));
    EXPECT_THAT(connectTo({"/proc/token.db", false}), HasSubstr("/proc/token.db"));
    putText(folder.file("file"));
    EXPECT_THAT(connectTo({folder.file("file/ksigil/token.db"), true}), HasSubstr("folder"));

    putFreshImage(image);
    sqlite3* holder = nullptr;
    sqlite3_open(image.c_str(), &holder);
    sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr);
    {
        const token::File ready(open("/dev/null", O_RDONLY));
        const token::EndOfWaits end(ready.descriptor());
        EXPECT_THAT(connectTo({image, false}), HasSubstr("locked, " + image));
    }
    sqlite3_close(holder);
    EXPECT_EQ(connectTo({image, false}), "good");
    fs::remove(image + ".lock");
    fs::create_symlink(folder.file("file"), image + ".lock");
    EXPECT_THAT(connectTo({image, false}), HasSubstr("cannot lock"));
    fs::remove(image + ".lock");
    putText(image + ".lock");
    EXPECT_THAT(connectTo({image, false}), HasSubstr("something else"));
    EXPECT_EQ(contentOf(image + ".lock"), std::string(5000, 'x'));
    fs::remove(image + ".lock");
    fs::remove(image);
    putText(image + "-wal");
    EXPECT_THAT(connectTo({image, false}), HasSubstr("put the image back"));
}

TEST_F(ImageFileTest, ACrashInTheMidstOfAChangeIsNoReasonToRefuse) {
    putFreshImage(image);
    // The first page still counts what is gone.
    fs::resize_file(image, fs::file_size(image) - 4096);
    EXPECT_TRUE(token::isImage(image));
}

TEST_F(ImageFileTest, TheDefaultPlaceIsMadeForItsOwnerAlone) {
    const std::string path = folder.file("share/ksigil/token.db");
    const mode_t mask = umask(0277);
    EXPECT_EQ(connectTo({path, true}), "good");
    umask(mask);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(path + ".lock").permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(folder.file("share/ksigil")).permissions(), fs::perms(0700));
    EXPECT_EQ(fs::status(folder.file("share")).permissions(), fs::perms(0700));
}

TEST_F(ImageFileTest, TheEnvironmentNamesThePlace) {
    const std::array<const char*, 4> cases[] = {
        {"t.db", "/data", "/home/x", "t.db"},
        {"", "/data", "/home/x", "/data/ksigil/token.db"},
        {"", "data", "/home/x", "/home/x/.local/share/ksigil/token.db"},
        {"", "", "/home/x", "/home/x/.local/share/ksigil/token.db"},
        {"", "", "home", ""}};
    for (const auto& [token, data, home, path] : cases) {
        setenv("KSIGIL_TOKEN", token, 1);
        setenv("XDG_DATA_HOME", data, 1);
        setenv("HOME", home, 1);
        EXPECT_EQ(token::imagePlace().path, path);
    }
}

TEST_F(ImageFileTest, ALinkToAnImageLeadsToTheSameToken) {
    putFreshImage(image);
    fs::create_symlink("token.db", folder.file("link.db"));
    token::Slot one({image, false});
    token::Slot other({folder.file("link.db"), false});
    const auto first = connectionTo(one);
    const auto second = connectionTo(other);
    answer(*first, frameOf("a4", "0001003f"));
    EXPECT_EQ(answer(*second, frameOf("d2", "000000")), "00000090");

    // Another image in its place would meet a power that is not its own.
    fs::remove(image);
    putFreshImage(image);
    const std::string before = contentOf(image);
    EXPECT_THAT(connectTo({image, false}), HasSubstr("another image"));
    EXPECT_EQ(contentOf(image), before);
}

}  // namespace
