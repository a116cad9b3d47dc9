#include <gtest/gtest.h>

#include <random>

#include "Components/qv_aid/qv_filesystem.h"
#include "Components/qv_aid/qv_password.h"
#include "tests/recording_talker.h"

namespace {

const QVFileSystem fs;
const QVPassword pw;

const auto content = [](u32 length) { return hex(TokenTalker::content(0, length)); };

struct Out {
    std::vector<QVFileInfo> infos;
    std::vector<std::string> names;
    bool exists = false;
    Bytes bytes;

    std::string text() const {
        std::string all = exists ? "yes" : "";
        for (const QVFileInfo& info : infos) {
            all += info.name + "," + std::to_string(info.type) + "," +
                   std::to_string(info.attribute) + "," + std::to_string(info.size) + " ";
        }
        for (const std::string& name : names) {
            all += name + " ";
        }
        return all + hex(bytes);
    }
};

// An operation, all frames that the token gets for it, what it gives back, its result, and the
// frame that the token refuses.
struct Row {
    u32 (*run)(ApduTalker&, Out&);
    std::string words;
    std::string text{};
    u32 rv = 0;
    std::string refused{};
};

#define RUN(...) [](ApduTalker& t, [[maybe_unused]] Out& o) -> u32 { return __VA_ARGS__; }
constexpr u32 invalid = 0x80070057;
constexpr u32 refusal = 0xE0066982;
constexpr u32 badReply = 0x80100013;
const char file[] = "3f000001";
const char key[] = "3f000002";
const std::string sFile = "select 3f000001";
const std::string sKey = "select 3f000002";
const std::string walk = "select 3f00, list 000000, " + sFile + ", " + sKey + ", select 3f00d800";
const std::string removal = "select 3f00, " + walk + ", " + sFile + ", delete 01, " + sKey;
const std::string read987 = ", read 0000da03, read da030100";
const std::string encrypt = sKey + ", desx 01";
const std::string decrypt = sKey + ", desx 00";
const std::string pad8 = "desx 010808080808080808";

const Row rows[] = {
    {RUN(pw.login(t, {0x31, 0x32})), "login 023132"},
    {RUN(pw.changePassword(t, Bytes(300))), "change 2c" + hex(Bytes(300))},
    {RUN(pw.logout(t)), "logout 00", "", refusal, "logout 00"},

    {RUN(o.infos.resize(1), fs.getFileInfo(t, "3F00d800A1a1", o.infos[0])), "select 3f00d800a1a1",
     "A1a1,1,1,1023 "},
    {RUN(fs.dir(t, "3f00", o.names)), walk, "0001 0002 d800 "},
    {RUN(fs.listFiles(t, "3f00", o.infos)), walk, "0001,1,0,987 0002,3,2,768 "},
    {RUN(fs.listDirectories(t, "3f00", o.names)), walk, "d800 "},
    {RUN(fs.listFiles(t, "3f00", o.infos)), walk, "", refusal, "select 3f00d800"},
    {RUN(fs.dir(t, "3f00d900", o.names)), "select 3f00d900, list 000000"},
    {RUN(fs.isFileExists(t, file, o.exists)), sFile, "yes"},
    {RUN(o.exists = true, fs.isFileExists(t, "3f00d700", o.exists)), "select 3f00d700"},
    {RUN(o.exists = true, fs.isFileExists(t, file, o.exists)), sFile, "yes", refusal, sFile},

    {RUN(fs.readFile(t, file, 0, 986, o.bytes)), sFile + ", read 0000da03", content(986)},
    {RUN(fs.readFile(t, file, o.bytes)), sFile + ", " + sFile + read987, content(987)},
    {RUN(o.bytes.resize(2000), fs.readFile(t, file, 0, 987, o.bytes)), sFile + read987,
     content(986) + "00", refusal, "read da030100"},
    {RUN(o.bytes = {1}, fs.readFile(t, file, 70000, 0, o.bytes)), sFile},
    {RUN(fs.readFile(t, file, 65534, 1, o.bytes)), sFile + ", read feff0100", "4c"},
    {RUN(fs.readFile(t, file, 65535, 1, o.bytes)), "", "", invalid},
    {RUN(fs.readFile(t, file, 2, 0xFFFFFFFF, o.bytes)), "", "", invalid},
    {RUN(fs.writeFile(t, file, 10, TokenTalker::content(0, 2000))),
     sFile + ", write 0a00da03" + content(986) + ", write e403da03" + content(1972).substr(1972) +
         ", write be071c00" + content(2000).substr(3944)},
    {RUN(fs.writeFile(t, file, 70000, Bytes())), sFile},
    {RUN(fs.writeFile(t, file, 65535, Bytes(1))), "", "", invalid},
    {RUN(fs.writeFile(t, key, Bytes(16, 7))), sKey + ", key " + hex(Bytes(16, 7))},
    {RUN(fs.writeFile(t, "bad", Bytes(15)) & fs.writeFile(t, key, Bytes(17))), "", "", 0x57},

    {RUN(fs.createFile(t, "3f00d800bEEf", 65535, true)), "select 3f00d800, create 0101ffffefbe"},
    {RUN(fs.createFile(t, "3f00beef", 1, false)), "select 3f00, create 01000100efbe"},
    {RUN(fs.createFile(t, "3f00beef", false)), "select 3f00, create 03021800efbe"},
    {RUN(fs.createFile(t, "3f00beef", true)), "select 3f00, create 03031800efbe"},
    {RUN(fs.createDirectory(t, "3f00beef", false)), "select 3f00, create 02000000efbe"},
    {RUN(fs.createDirectory(t, "3f00beef", true)), "select 3f00, create 02010000efbe"},
    {RUN(fs.createFile(t, "3f00beef", 65536, false) & fs.createFile(t, "3f00", 1, false)), "", "",
     invalid},
    {RUN(fs.createFile(t, "3f00d700beef", 1, false)), "select 3f00d700", "", 0xE0066407},

    {RUN(fs.del(t, "3f00d700")), "select 3f00d700", "", 0xE0066407},
    {RUN(fs.del(t, "3f00")), removal + ", delete 03", "", refusal, "delete 03"},
    {RUN(fs.del(t, "3f00")),
     removal + ", delete 03, select 3f00d800, select 3f00d800, list 000000, select 3f00d800a1a1, "
               "select 3f00d800a1a1, delete 01, select 3f00d800, delete 02"},

    {RUN(fs.desx(t, key, true, {}, o.bytes)), sKey + ", " + pad8, "f7f7f7f7f7f7f7f7"},
    {RUN(o.bytes.resize(7), fs.desx(t, key, true, o.bytes, o.bytes)), encrypt + "0000000000000001",
     "fffffffffffffffe"},
    {RUN(fs.desx(t, key, true, Bytes(8), o.bytes)), encrypt + "0000000000000000, " + pad8,
     "fffffffffffffffff7f7f7f7f7f7f7f7"},
    {RUN(fs.desx(t, key, true, Bytes(8), o.bytes)), encrypt + "0000000000000000, " + pad8,
     "ffffffffffffffff0000000000000000", refusal, pad8},
    {RUN(o.bytes = {0, 0, 0, 0, 0, 0, 0, 0xFE}, fs.desx(t, key, false, o.bytes, o.bytes)),
     decrypt + "00000000000000fe", "ffffffffffffff"},
    {RUN(fs.desx(t, key, false, Bytes(8, 0xFF), o.bytes)), decrypt + "ffffffffffffffff",
     "0000000000000000"},
    {RUN(fs.desx(t, key, false, Bytes(8, 0xF7), o.bytes)), decrypt + "f7f7f7f7f7f7f7f7"},
    {RUN(fs.desx(t, key, false, Bytes(8, 0xF6), o.bytes)), decrypt + "f6f6f6f6f6f6f6f6",
     "0909090909090909", invalid},
    {RUN(o.bytes = {1}, fs.desx(t, key, false, {}, o.bytes)), sKey, "01", invalid},
    {RUN(fs.desx(t, key, false, Bytes(7), o.bytes)), sKey, "", invalid}};

TEST(Services, FramesAndOutcome) {
    for (const Row& row : rows) {
        TokenTalker token;
        token.refused = row.refused;
        Out out;
        EXPECT_EQ(row.run(token, out), row.rv) << row.words;
        EXPECT_EQ(token.words, row.words);
        EXPECT_EQ(out.text(), row.text) << row.words;
    }
}

TEST(Services, BadPathsSendNothing) {
    for (const char* path : {"", "3f0", "3f00a", "3f0g", "+3f0", "-001", "0x3f", "3f00 001"}) {
        TokenTalker token;
        EXPECT_EQ(fs.del(token, path) & fs.createFile(token, path, true), invalid) << path;
        EXPECT_EQ(token.words, "") << path;
    }
}

TEST(Services, ListsUpTo1024Children) {
    TokenTalker token;
    token.objects["3f00d900"].children.assign(1024, 2);
    token.objects["3f00d9000002"] = {};
    std::vector<std::string> names{"before"};
    EXPECT_EQ(fs.dir(token, "3f00d900", names), 0);
    EXPECT_EQ(token.frames.size(), 1026);
    token.objects["3f00d900"].children.push_back(2);
    EXPECT_EQ(fs.dir(token, "3f00d900", names), badReply);
    EXPECT_EQ(names.size(), 1025);
}

TEST(Services, NothingIsSelectedBelowLevel255) {
    for (const std::size_t levels : {255, 256}) {
        TokenTalker token;
        for (std::string path = "3f00"; path.size() <= 4 * levels; path += "0001") {
            token.objects[path] = {2, 0, 0, std::vector<u16>(path.size() < 4 * levels, 1)};
        }
        EXPECT_EQ(fs.del(token, "3f00"), levels == 255 ? 0 : badReply);
        EXPECT_EQ(token.words.find("delete") != std::string::npos, levels == 255);
    }
}

// Each reply in turn gets every length that its frame has room for, with a good status word at its
// end: a shorter one is a failure, a longer one changes nothing.
TEST(Services, CutAndPaddedReplies) {
    for (const Row& row : rows) {
        TokenTalker sound;
        Out expected;
        const u32 expectedRv = row.run(sound, expected);
        for (std::size_t target = 0; target < sound.frames.size(); ++target) {
            for (std::size_t length = 2; length <= sound.rooms[target]; ++length) {
                TokenTalker token;
                bool isCut = false;
                token.change = [&](std::size_t index, u32, RecordingTalker::Answer& given) {
                    if (index == target && given.bytes.back() == 0x90) {
                        isCut = length < given.bytes.size();
                        given.bytes.resize(length - 2, 0xEE);
                        append16(given.bytes, 0x9000);
                    }
                };
                Out out;
                const u32 rv = row.run(token, out);
                ASSERT_EQ(rv, isCut ? badReply : expectedRv) << row.words << " " << length;
                ASSERT_TRUE(isCut || out.text() == expected.text()) << row.words << " " << length;
            }
        }
    }
}

// Random replies, some of a random length or with a status word of refusal: those are failures.
TEST(Services, RandomReplies) {
    std::mt19937 random(20);
    for (int round = 0; round < 20000; ++round) {
        TokenTalker token;
        bool isGood = true;
        token.change = [&](std::size_t, u32 room, RecordingTalker::Answer& given) {
            given.bytes.resize(random() % 8 != 0 ? room - 2 : random() % (room + 1));
            for (u8& byte : given.bytes) {
                byte = static_cast<u8>(random() % 4);  // small counts, many directories
            }
            append16(given.bytes, random() % 16 != 0 ? 0x9000 : 0x6400);
            isGood &= given.bytes.size() <= room && hex(given.bytes).ends_with("0090");
        };
        Out out;
        EXPECT_TRUE(rows[random() % std::size(rows)].run(token, out) != 0 || isGood);
    }
}

}  // namespace
