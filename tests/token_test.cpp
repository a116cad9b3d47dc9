#include <sstream>

#include "tests/toolbox/scratch_image.h"

namespace {

using token::Outcome;

constexpr const char* loginFrame = "0431323334";  // "1234"

// Exchanges in threes of words: the instruction, the data field, the whole reply.
struct Step {
    const char* what;
    const char* exchanges;
};

class TokenTest : public testing::Test {
  protected:
    TokenTest() {
        putFreshImage(path_);
        std::string why;
        EXPECT_EQ(slot_.connect(connection_, why), Outcome::good) << why;
    }

    std::string send(const std::string& ins, const std::string& data) {
        return answer(*connection_, frameOf(ins, data));
    }

    void run(const std::vector<Step>& steps) {
        for (const Step& step : steps) {
            std::istringstream words(step.exchanges);
            for (std::string ins, data, reply; words >> ins >> data >> reply;) {
                EXPECT_EQ(send(ins, data), reply) << step.what << ": " << ins << " " << data;
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
        {"876A",
         "00A400000000 00A400000100040001003F 00A400000000050001003F 00A500000100040001003F"},
        {"876A", "00A400000000030001003F"},
        {"0068", "80A400000000040001003F 00A500000000040001003F 00A501000000040001003F"},
        // P1, and P2 before what the data field holds.
        {"866A", "00A401000000040001003F 00A400010000040101003F"},
        // The data field's length, and the length or count byte in it.
        {"876A", "00A400000000040002003F 00A40000000003000000 00A4000000000100 00200000000000"},
        {"876A", "00200000000003013131 00DC0000000000 00E000000000050100000001"},
        {"876A", "00D000000000050000020061 00D6000000000F000000000000000000000000000000"},
        // Mode, selector, types, attributes that a file and a key can't have, cipher's direction.
        {"0364", "00A400000000040101003F 00D20000000003000001 00E00000000006000000000100"},
        {"0364", "00E00000000006040000000100 00E00000000006010200000100 00E2000000000100"},
        {"0364", "00E00000000006030018000100 00D80000000009020000000000000000"},
        {"00010090", "00DE000000000100"}};
    EXPECT_EQ(answer(*connection_, {}), "876A");
    for (const auto& [reply, frames] : cases) {
        std::istringstream words(frames);
        for (std::string frame; words >> frame;) {
            EXPECT_EQ(answer(*connection_, bytesOf(frame)), reply) << frame;
        }
    }
    // Colour 4, packages 1 and 3, the serial number, bytes in use and in all.
    const std::string info = send("DA", "00");
    EXPECT_EQ(info.substr(0, 6) + info.substr(22), "040A0000000000000004000090");
}

TEST_F(TokenTest, KeepsItsTreeByTheRules) {
    run({
        {"nothing is selected; nor can be deleted", "D2 000000 0464  E2 02 0464"},
        {"no ids; another root", "A4 0000 0764  A4 00010100 0764"},
        {"still nothing; no key", "B0 00000000 0464  D8 010000000000000000 1564"},
        {"the root; it stays", "A4 0001003F 003F0200000000000090  E2 02 0564"},
        {"it is no file", "B0 00000000 0564"},
        {"nor a key", "D6 00000000000000000000000000000000 0564"},
        {"nor a cipher; reserved", "D8 010000000000000000 1564  E0 01000000003F 0864"},
        {"reserved", "E0 01000000FF3F 0864  E0 01000000FFFF 0864"},
        {"a directory has no size", "E0 020001000100 0B64"},
        {"a key has one size; more than there is", "E0 030217000100 0B64  E0 0100FFFF0100 0090"},
        {"the same id; a directory", "E0 020000000100 0864  E0 020000000200 0090"},
        {"the selection stayed", "D2 000000 0200010002000090"},
        {"two at most; the file", "D2 010000 010001000090  A4 0002003F0100 01000100FFFF00000090"},
        {"a missing child; leaves the selection", "A4 0002003F0300 0764  B0 FEFF0100 000090"},
        {"one byte beyond; nothing at the end", "B0 FEFF0200 0B64  B0 FFFF0000 0090"},
        {"beyond writes nothing; across pages", "D0 FEFF02006162 0B64  D0 FE03040061626364 0090"},
        {"reads back; no directory", "B0 FD030600 0061626364000090  D2 000000 0564"},
        {"nothing in a file", "E0 010000000100 0564"},
        {"a child of a file; another type", "A4 0003003F01000100 0764  E2 02 0364"},
        {"into the directory", "A4 0002003F0200 02000200000000000090"},
        {"a file in it; not empty", "E0 010001000100 0090  E2 02 0664"},
        {"its file; goes", "A4 0003003F02000100 01000100010000000090  E2 01 0090"},
        {"and is not selected; nor found", "E2 01 0464  A4 0003003F02000100 0764"},
        {"the empty directory; goes", "A4 0002003F0200 02000200000000000090  E2 02 0090"},
    });
}

TEST_F(TokenTest, GuardsWhatIsPrivate) {
    run({
        {"the root; private file", "A4 0001003F 003F0200000000000090  E0 010101000100 8269"},
        {"two factor key; the id is judged later", "E0 030318000200 8269  E0 01010100003F 8269"},
        {"no change; wrong; right", "D4 0161 8269  20 0431323335 8269  20 0431323334 0090"},
        {"private file; two factor key", "E0 010101000100 0090  E0 030318000200 0090"},
        {"private directory; one factor key", "E0 020100000300 0090  E0 030218000400 0090"},
        {"out; out again; listed", "DC 00 0090  DC 00 0090  D2 000000 040001000200030004000090"},
        {"selected; not read", "A4 0002003F0100 01000101010000000090  B0 00000100 8269"},
        {"not written; not deleted", "D0 0000010061 8269  E2 01 8269"},
        {"login before type; directory", "E2 02 8269  A4 0002003F0300 03000201000000000090"},
        {"no public file in it; listed all the same", "E0 010001000100 8269  D2 000000 00000090"},
        {"two factor", "A4 0002003F0200 02000303180000000090"},
        {"not written", "D6 000102030405060708090A0B0C0D0E0F 8269"},
        {"never written comes first", "D8 010000000000000000 0564"},
        {"one factor", "A4 0002003F0400 04000302180000000090"},
        {"never written", "D8 010000000000000000 0564"},
        {"open to all; used", "D6 000102030405060708090A0B0C0D0E0F 0090  E2 01 0364"},
        {"login; empty; changed", "20 0431323334 0090  D4 00 1664  D4 03616263 0090"},
        {"the old one ends the login; indeed", "20 0431323334 8269  D4 0161 8269"},
        {"the new one; two factor", "20 03616263 0090  A4 0002003F0200 02000303180000000090"},
        {"written; out", "D6 000102030405060708090A0B0C0D0E0F 0090  DC 00 0090"},
        {"not used", "D8 010000000000000000 8269"},
    });
}

std::string wireId(unsigned id) {
    return hexOf(token::Buffer{static_cast<std::uint8_t>(id), static_cast<std::uint8_t>(id >> 8)});
}

TEST_F(TokenTest, HasRoomUpToItsLimits) {
    send("A4", "0001003F");
    for (int i = 1; i <= 4; ++i) {
        EXPECT_EQ(send("E0", "0100FFFF" + wireId(0x100U + static_cast<unsigned>(i))), "0090");
    }
    EXPECT_EQ(send("E0", "010005000200"), "0964");  // 4 * 65535 and 4 are 256 KiB
    EXPECT_EQ(send("E0", "010004000200"), "0090");
    EXPECT_EQ(send("E0", "030218000300"), "0964");
    EXPECT_EQ(send("E0", "020000000300"), "0090");

    // Directories: 1024 in each of four, but that the four and the files count as well.
    sql(path_,
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1023)"
        "INSERT INTO object (parent, id, type, attribute, size) SELECT 6, i, 2, 0, 0 FROM n");
    send("A4", "0002003F0300");
    EXPECT_EQ(send("E0", "020000000040"), "0090");
    EXPECT_EQ(send("E0", "020000000140"), "0964");
    EXPECT_EQ(send("D2", "000000").size(), 2U * (2 + 2 * 1024 + 2));
    sql(path_,
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 3065)"
        "INSERT INTO object (parent, id, type, attribute, size) "
        "SELECT 7 + i / 1000, i, 2, 0, 0 FROM n");
    send("A4", "0001003F");
    EXPECT_EQ(send("E0", "020000000040"), "0090");
    EXPECT_EQ(send("E0", "020000000140"), "0964");
}

TEST_F(TokenTest, IsAtMost255LevelsDeep) {
    std::string path = "003F";
    for (unsigned level = 2; level <= 255; ++level) {
        EXPECT_EQ(send("A4", "00" + wireId(level - 1).substr(0, 2) + path).substr(16), "0090");
        EXPECT_EQ(send("E0", "020000000100"), "0090");
        path += "0100";
    }
    EXPECT_EQ(send("A4", "00FF" + path), "01000200000000000090");
    EXPECT_EQ(send("E0", "020000000100"), "0564");
}

TEST_F(TokenTest, LetsNoOvertakenChangeHappen) {
    token::Image image(path_);
    token::Token token(image);
    token::Session session;
    const auto sent = [&](const char* ins, const char* data, bool overtaken) {
        return hexOf(token.execute(session, frameOf(ins, data), [=] { return !overtaken; }));
    };
    sent("20", loginFrame, false);
    sent("A4", "0001003F", false);
    EXPECT_EQ(sent("E0", "010001000100", true), "8165");
    EXPECT_EQ(sent("D4", "0161", true), "8165");
    EXPECT_EQ(sent("20", loginFrame, false), "0090");
    EXPECT_EQ(sent("D2", "000000", false), "00000090");
    EXPECT_EQ(sent("E0", "020000000100", false), "0090");
    EXPECT_EQ(sent("A4", "0002003F0100", false).substr(16), "0090");
    EXPECT_EQ(sent("E2", "02", true), "8165");
    sql(path_, "DELETE FROM object");  // as a frame of before a reset may do to a selection
    EXPECT_EQ(sent("E0", "010001000100", false), "8165");
}

TEST_F(TokenTest, AnswersForADamagedImage) {
    run({
        {"root; file", "A4 0001003F 003F0200000000000090  E0 0100FF080100 0090"},
        {"key; select", "E0 030218000200 0090  A4 0002003F0100 01000100FF0800000090"},
    });
    sql(path_,
        "DELETE FROM page WHERE number = 65; UPDATE page SET bytes = x'00' WHERE number = 66;"
        "UPDATE object SET key = x'0102' WHERE number = 2; UPDATE password SET cost_n = 3");
    EXPECT_EQ(send("B0", "00000004"), std::string(2048, '0') + "0090");
    run({
        {"a page is gone; a page is short", "B0 00000104 8165  B0 00080100 8165"},
        {"nothing is written; not its first half", "D0 FF0302006162 8165  B0 FF030100 000090"},
        {"login; key", "20 0431323334 8165  A4 0002003F0200 02000302180000000090"},
        {"cut", "D8 010000000000000000 8165"},
    });
    sql(path_, "UPDATE object SET type = 9 WHERE number = 1");
    EXPECT_EQ(send("A4", "0002003F0100"), "8165");
    EXPECT_EQ(send("D8", "010000000000000000"), "8165");  // the key is still selected
    sql(path_, "DROP TABLE object");
    EXPECT_EQ(send("A4", "0002003F0200"), "8165");
}

}  // namespace
