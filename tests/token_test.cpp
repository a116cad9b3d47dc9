#include "tests/scratch_token.h"

namespace {

using token::Outcome;

constexpr const char* loginFrame = "0431323334";  // "1234"

struct Step {
    const char* what;
    const char* ins;
    std::string data;
    const char* reply;
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
            EXPECT_EQ(send(step.ins, step.data), step.reply) << step.what << ": " << step.ins;
        }
    }

    ScratchFolder folder_;
    std::string path_ = folder_.file("token.db");
    token::Slot slot_{{path_, false}};
    std::unique_ptr<token::Connection> connection_;
};

TEST_F(TokenTest, ChecksTheFrameInOrder) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "876A"},
        {"00A400000000", "876A"},
        {"00A4000001000400010 03F", "876A"},      // byte 4 is not 0
        {"00A40000000005 0001003F", "876A"},      // Lc above what follows
        {"00A40000000003 0001003F", "876A"},      // and below
        {"80A40000000004 0001003F", "0068"},      // CLA
        {"00A50000010004 0001003F", "876A"},      // the length is judged before INS
        {"00A50000000004 0001003F", "0068"},      // INS
        {"00A50100000004 0001003F", "0068"},      // INS before P1
        {"00A40100000004 0001003F", "866A"},      // P1
        {"00A40001000004 0101003F", "866A"},      // P2 before the values
        {"00A40000000004 0101003F", "0364"},      // mode
        {"00A40000000004 0002003F", "876A"},      // count above the ids
        {"00A40000000003 000000", "876A"},        // an odd byte
        {"00A40000000001 00", "876A"},            // no count
        {"00200000000000", "876A"},               // no length byte
        {"00200000000003 013131", "876A"},        // length byte below
        {"00DC0000000000", "876A"},               // no data byte
        {"00D20000000003 000001", "0364"},        // selector
        {"00E00000000005 0100000001", "876A"},    // one byte short
        {"00E00000000006 000000000100", "0364"},  // types
        {"00E00000000006 040000000100", "0364"},  //
        {"00E00000000006 010200000100", "0364"},  // a file can't be one factor
        {"00E00000000006 030018000100", "0364"},  // a key can't be public
        {"00E20000000001 00", "0364"},            // type
        {"00D00000000005 0000020061", "876A"},    // its own length above
        {"00D80000000009 020000000000000000", "0364"},
        {"00D6000000000F 000000000000000000000000000000", "876A"},
        {"00DE0000000001 00", "00010090"},
    };
    for (const auto& [frame, reply] : cases) {
        EXPECT_EQ(answer(*connection_, bytesOf(frame)), reply) << frame;
    }
    // Colour 4, packages 1 and 3, the serial number, bytes in use and in all.
    const std::string info = send("DA", "00");
    EXPECT_EQ(info.substr(0, 6) + info.substr(22), "040A0000000000000004000090");
}

TEST_F(TokenTest, KeepsItsTreeByTheRules) {
    const std::string root = "0001003F";
    run({
        {"nothing is selected", "D2", "000000", "0464"},
        {"nor can be deleted", "E2", "02", "0464"},
        {"no ids", "A4", "0000", "0764"},
        {"another root", "A4", "00010100", "0764"},
        {"still nothing", "B0", "00000000", "0464"},
        {"no key", "D8", "010000000000000000", "1564"},
        {"the root", "A4", root, "003F0200000000000090"},
        {"it stays", "E2", "02", "0564"},
        {"it is no file", "B0", "00000000", "0564"},
        {"nor a key", "D6", "00000000000000000000000000000000", "0564"},
        {"nor a cipher", "D8", "010000000000000000", "1564"},
        {"reserved", "E0", "01000000003F", "0864"},
        {"reserved", "E0", "01000000FF3F", "0864"},
        {"reserved", "E0", "01000000FFFF", "0864"},
        {"a directory has no size", "E0", "020001000100", "0B64"},
        {"a key has one size", "E0", "030217000100", "0B64"},
        {"more than there is", "E0", "0100FFFF0100", "0090"},
        {"the same id", "E0", "020000000100", "0864"},
        {"a directory", "E0", "020000000200", "0090"},
        {"the selection stayed", "D2", "000000", "0200010002000090"},
        {"two at most", "D2", "010000", "010001000090"},
        {"the file", "A4", "0002003F0100", "01000100FFFF00000090"},
        {"a missing child", "A4", "0002003F0300", "0764"},
        {"leaves the selection", "B0", "FEFF0100", "000090"},
        {"one byte beyond", "B0", "FEFF0200", "0B64"},
        {"nothing at the end", "B0", "FFFF0000", "0090"},
        {"beyond writes nothing", "D0", "FEFF02006162", "0B64"},
        {"across pages", "D0", "FE03040061626364", "0090"},
        {"reads back", "B0", "FD030600", "0061626364000090"},
        {"no directory", "D2", "000000", "0564"},
        {"nothing in a file", "E0", "010000000100", "0564"},
        {"a child of a file", "A4", "0003003F01000100", "0764"},
        {"another type", "E2", "02", "0364"},
        {"into the directory", "A4", "0002003F0200", "02000200000000000090"},
        {"a file in it", "E0", "010001000100", "0090"},
        {"not empty", "E2", "02", "0664"},
        {"its file", "A4", "0003003F02000100", "01000100010000000090"},
        {"goes", "E2", "01", "0090"},
        {"and is not selected", "E2", "01", "0464"},
        {"nor found", "A4", "0003003F02000100", "0764"},
        {"the empty directory", "A4", "0002003F0200", "02000200000000000090"},
        {"goes", "E2", "02", "0090"},
    });
}

TEST_F(TokenTest, GuardsWhatIsPrivate) {
    const std::string value = "000102030405060708090A0B0C0D0E0F";
    run({
        {"the root", "A4", "0001003F", "003F0200000000000090"},
        {"private file", "E0", "010101000100", "8269"},
        {"two factor key", "E0", "030318000200", "8269"},
        {"the id is judged later", "E0", "01010100003F", "8269"},
        {"no change", "D4", "0161", "8269"},
        {"wrong", "20", "0431323335", "8269"},
        {"right", "20", loginFrame, "0090"},
        {"private file", "E0", "010101000100", "0090"},
        {"two factor key", "E0", "030318000200", "0090"},
        {"private directory", "E0", "020100000300", "0090"},
        {"one factor key", "E0", "030218000400", "0090"},
        {"out", "DC", "00", "0090"},
        {"out again", "DC", "00", "0090"},
        {"listed", "D2", "000000", "040001000200030004000090"},
        {"selected", "A4", "0002003F0100", "01000101010000000090"},
        {"not read", "B0", "00000100", "8269"},
        {"not written", "D0", "0000010061", "8269"},
        {"not deleted", "E2", "01", "8269"},
        {"login before type", "E2", "02", "8269"},
        {"directory", "A4", "0002003F0300", "03000201000000000090"},
        {"no public file in it", "E0", "010001000100", "8269"},
        {"listed all the same", "D2", "000000", "00000090"},
        {"two factor", "A4", "0002003F0200", "02000303180000000090"},
        {"not written", "D6", value, "8269"},
        {"never written comes first", "D8", "010000000000000000", "0564"},
        {"one factor", "A4", "0002003F0400", "04000302180000000090"},
        {"never written", "D8", "010000000000000000", "0564"},
        {"open to all", "D6", value, "0090"},
        {"used", "E2", "01", "0364"},
        {"login", "20", loginFrame, "0090"},
        {"empty", "D4", "00", "1664"},
        {"changed", "D4", "03616263", "0090"},
        {"the old one ends the login", "20", loginFrame, "8269"},
        {"indeed", "D4", "0161", "8269"},
        {"the new one", "20", "03616263", "0090"},
        {"two factor", "A4", "0002003F0200", "02000303180000000090"},
        {"written", "D6", value, "0090"},
        {"out", "DC", "00", "0090"},
        {"not used", "D8", "010000000000000000", "8269"},
    });
}

TEST_F(TokenTest, EnciphersAsTheStandardTells) {
    struct Vector {
        const char* key;
        const char* plain;
        const char* cipher;
    };
    const Vector vectors[] = {
        // DES alone, and the same block behind a whitening of A5.
        {"0123456789ABCDEF 0000000000000000", "4E6F772069732074", "3FA40E8A984D4815"},
        {"0123456789ABCDEF A5A5A5A5A5A5A5A5", "EBCAD285CCD685D1", "9A01AB2F3DE8EDB0"},
        {"0101010101010101 0000000000000000", "95F8A5E5DD31D900", "8000000000000000"},  // weak
    };
    run({{"root", "A4", "0001003F", "003F0200000000000090"},
         {"key", "E0", "030218000100", "0090"},
         {"select", "A4", "0002003F0100", "01000302180000000090"}});
    for (const Vector& vector : vectors) {
        EXPECT_EQ(send("D6", vector.key), "0090");
        EXPECT_EQ(send("D8", std::string("01") + vector.plain),
                  std::string(vector.cipher) + "0090");
        EXPECT_EQ(send("D8", std::string("00") + vector.cipher),
                  std::string(vector.plain) + "0090");
    }
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
    run({{"root", "A4", "0001003F", "003F0200000000000090"},
         {"file", "E0", "0100FF080100", "0090"},
         {"key", "E0", "030218000200", "0090"},
         {"select", "A4", "0002003F0100", "01000100FF0800000090"}});
    sql(path_,
        "DELETE FROM page WHERE number = 65; UPDATE page SET bytes = x'00' WHERE number = 66;"
        "UPDATE object SET key = x'0102' WHERE number = 2; UPDATE password SET cost_n = 3");
    run({{"what is left", "B0", "00000004", (std::string(2048, '0') + "0090").c_str()},
         {"a page is gone", "B0", "00000104", "8165"},
         {"a page is short", "B0", "00080100", "8165"},
         {"nothing is written", "D0", "FF0302006162", "8165"},
         {"not its first half", "B0", "FF030100", "000090"},
         {"login", "20", loginFrame, "8165"},
         {"key", "A4", "0002003F0200", "02000302180000000090"},
         {"cut", "D8", "010000000000000000", "8165"}});
    sql(path_, "UPDATE object SET type = 9 WHERE number = 1");
    EXPECT_EQ(send("A4", "0002003F0100"), "8165");
    EXPECT_EQ(send("D8", "010000000000000000"), "8165");  // the key is still selected
    sql(path_, "DROP TABLE object");
    EXPECT_EQ(send("A4", "0002003F0200"), "8165");
}

}  // namespace
