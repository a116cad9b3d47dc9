#include "Components/qv_aid/qv_filesystem.h"

#include <gtest/gtest.h>

#include <iterator>

#include "Components/qv_aid/qv_password.h"
#include "tests/toolbox/token_talker.h"

namespace {

// What an operation gives back. A record and a name are there before it, and have to stay.
struct Out {
    std::vector<QVFileInfo> infos{{"was", 1, 2, 3}};
    std::vector<std::string> names{"was"};
    bool exists = false;
    Bytes bytes;

    std::string text() const {
        const bool kept = infos.at(0).size == 3 && names.at(0) == "was";
        std::ostringstream all(kept ? "" : "lost ", std::ios::ate);
        for (std::size_t i = 1; i < infos.size(); ++i) {
            all << infos[i].name << ',' << +infos[i].type << ',' << +infos[i].attribute << ','
                << infos[i].size << ' ';
        }
        std::copy(names.begin() + 1, names.end(), std::ostream_iterator<std::string>(all, " "));
        return all.str() + (exists ? "yes" : "") + hexOf(bytes);
    }
};

// An operation, all frames that the token gets for it, what it gives back, its result, and the
// frame that the token refuses, or at which the talker fails.
struct Row {
    u32 (*run)(ApduTalker&, Out&);
    std::string words;
    std::string text{};
    u64 rv = 0;
    std::string refused{};
    u32 fault = 0;
};

#define RUN(...) [](ApduTalker& t, [[maybe_unused]] Out& o) -> u32 { return __VA_ARGS__; }
#define RUN_AFTER(PREPARE, ...)        \
    [](ApduTalker& t, Out& o) -> u32 { \
        PREPARE;                       \
        return __VA_ARGS__;            \
    }
constexpr u32 invalid = 0x80070057;
constexpr u32 refusal = 0xE0066982;
constexpr u32 badReply = 0x80100013;

const QVFileSystem fs;
const QVPassword pw;

const auto content = [](u32 length) { return hexOf(TokenTalker::content(0, length)); };

const std::string file = "3f000001", sFile = "select " + file;
const std::string key = "3f000002", sKey = "select " + key;
const std::string walk = "select 3f00, list 000000, " + sFile + ", select 3f00d800, " + sKey;
const std::string below =
    ", select 3f00d800, select 3f00d800, list 000000, select 3f00d800a1a1, select 3f00d800a1a1, "
    "delete 01, select 3f00d800, delete 02, ";
const std::string removal =
    "select 3f00, " + walk + ", " + sFile + ", delete 01" + below + sKey + ", delete 03";
const std::string read987 = ", read 0000da03, read da030100";
const std::string encrypt = sKey + ", desx 01", decrypt = sKey + ", desx 00";
const std::string pad8 = "desx 010808080808080808";

const Row rows[] = {
    {RUN(pw.login(t, {0x31, 0x32})), "login 023132"},
    {RUN(pw.changePassword(t, Bytes(300))), "change 2c" + hexOf(Bytes(300))},
    {RUN(pw.logout(t)), "logout 00", "", refusal, "logout 00"},

    {RUN(fs.getFileInfo(t, "3F00d800A1a1", o.infos.emplace_back())), "select 3f00d800a1a1",
     "A1a1,1,1,1023 "},
    {RUN(fs.selectPath(t, file, o.infos[0])), sFile, "", refusal, sFile},
    {RUN(fs.dir(t, "3f00", o.names)), walk, "0001 d800 0002 "},
    {RUN(fs.dir(t, "3f00", o.names)), walk, "", refusal, sKey},
    {RUN(fs.listFiles(t, "3f00", o.infos)), walk, "0001,1,0,987 0002,3,2,768 "},
    {RUN(fs.listFiles(t, "3f00", o.infos)), walk, "", refusal, sKey},
    {RUN(fs.listDirectories(t, "3f00", o.names)), walk, "d800 "},
    {RUN(fs.listDirectories(t, "3f00", o.names)), walk, "", refusal, sKey},
    {RUN(fs.directoryPath(t, "3f00", o.infos)), walk, "0001,1,0,987 d800,2,1,768 ", refusal, sKey},
    {RUN(fs.dir(t, "3f00d900", o.names)), "select 3f00d900, list 000000"},
    {RUN(fs.isFileExists(t, file, o.exists)), sFile, "yes"},
    {RUN_AFTER(o.exists = true, fs.isFileExists(t, "3f00d700", o.exists)), "select 3f00d700"},
    {RUN_AFTER(o.exists = true, fs.isFileExists(t, file, o.exists)), sFile, "yes", refusal, sFile},
    {RUN_AFTER(o.exists = true, fs.isFileExists(t, file, o.exists)), sFile, "", 0, sFile,
     0x12346407},
    {RUN(fs.readFile(t, file, 0, 986, o.bytes)), sFile + ", read 0000da03", content(986)},
    {RUN(fs.readFile(t, file, o.bytes)), sFile + ", " + sFile + read987, content(987)},
    {RUN_AFTER(o.bytes.assign(2000, 7), fs.readFile(t, file, 0, 987, o.bytes)), sFile + read987,
     content(986) + "07", refusal, "read da030100"},
    {RUN_AFTER(o.bytes = Bytes(1, 1), fs.readFile(t, file, 70000, 0, o.bytes)), sFile},
    {RUN(fs.readFile(t, file, 65534, 1, o.bytes)), sFile + ", read feff0100", "4c"},
    {RUN(fs.readFile(t, file, 65535, 1, o.bytes)), "", "", invalid},
    {RUN(fs.readFile(t, file, 2, 0xFFFFFFFF, o.bytes)), "", "", invalid},
    {RUN(fs.writeFile(t, file, 10, TokenTalker::content(0, 2000))),
     sFile + ", write 0a00da03" + content(986) + ", write e403da03" + content(1972).substr(1972) +
         ", write be071c00" + content(2000).substr(3944)},
    {RUN(fs.writeFile(t, file, 70000, Bytes())), sFile},
    {RUN(fs.writeFile(t, file, 65535, Bytes(1))), "", "", invalid},
    {RUN(fs.writeFile(t, key, Bytes(16, 7))), sKey + ", key " + hexOf(Bytes(16, 7))},
    {RUN(fs.writeFile(t, "bad", Bytes(15))), "", "", 0x57},
    {RUN(fs.writeFile(t, key, Bytes(17))), "", "", 0x57},
    {RUN(fs.createFile(t, "3f00d800bEEf", 65535, true)), "select 3f00d800, create 0101ffffefbe"},
    {RUN(fs.createFile(t, "3f00beef", 1, false)), "select 3f00, create 01000100efbe"},
    {RUN(fs.createFile(t, "3f00beef", false)), "select 3f00, create 03021800efbe"},
    {RUN(fs.createFile(t, "3f00beef", true)), "select 3f00, create 03031800efbe"},
    {RUN(fs.createDirectory(t, "3f00beef", false)), "select 3f00, create 02000000efbe"},
    {RUN(fs.createDirectory(t, "3f00beef", true)), "select 3f00, create 02010000efbe"},
    {RUN(fs.createFile(t, "3f00beef", 65536, false)), "", "", invalid},
    {RUN(fs.createFile(t, "3f00", 1, false)), "", "", invalid},
    {RUN(fs.createFile(t, "3f00d700beef", 1, false)), "select 3f00d700", "", 0xE0066407},
    {RUN(fs.del(t, "3f00d700")), "select 3f00d700", "", 0xE0066407},
    {RUN(fs.del(t, "3f00")), removal, "", refusal, "delete 03"},
    {RUN(fs.del(t, "3f00")), removal},
    {RUN(fs.del(t, "3F00")), removal + ", select 3f00, delete 02"},
    {RUN(fs.desx(t, key, true, {}, o.bytes)), sKey + ", " + pad8, "f7f7f7f7f7f7f7f7"},
    {RUN_AFTER(o.bytes.resize(7), fs.desx(t, key, true, o.bytes, o.bytes)),
     encrypt + "0000000000000001", "fffffffffffffffe"},
    {RUN(fs.desx(t, key, true, Bytes(8), o.bytes)), encrypt + "0000000000000000, " + pad8,
     "fffffffffffffffff7f7f7f7f7f7f7f7"},
    {RUN(fs.desx(t, key, true, Bytes(8), o.bytes)), encrypt + "0000000000000000, " + pad8,
     "ffffffffffffffff0000000000000000", refusal, pad8},
    {RUN_AFTER(o.bytes = bytesOf("00000000000000fe"), fs.desx(t, key, false, o.bytes, o.bytes)),
     decrypt + "00000000000000fe", "ffffffffffffff"},
    {RUN(fs.desx(t, key, false, Bytes(8, 0xFF), o.bytes)), decrypt + "ffffffffffffffff",
     "0000000000000000"},
    {RUN(fs.desx(t, key, false, Bytes(8, 0xF7), o.bytes)), decrypt + "f7f7f7f7f7f7f7f7"},
    {RUN(fs.desx(t, key, false, Bytes(8, 0xF6), o.bytes)), decrypt + "f6f6f6f6f6f6f6f6",
     "0909090909090909", invalid},
    {RUN(fs.desx(t, key, false, Bytes(16, 0xF6), o.bytes)),
     decrypt + "f6f6f6f6f6f6f6f6, desx 00f6f6f6f6f6f6f6f6", "09090909090909"},
    {RUN_AFTER(o.bytes = Bytes(1, 1), fs.desx(t, key, false, {}, o.bytes)), sKey, "01", invalid},
    {RUN(fs.desx(t, key, false, Bytes(7), o.bytes)), sKey, "", invalid}};

TEST(Services, FramesAndOutcome) {
    for (const Row& row : rows) {
        TokenTalker token;
        token.refused = row.refused;
        token.fault = row.fault;
        Out out;
        SCOPED_TRACE(row.words);
        EXPECT_EQ(row.run(token, out), row.rv);
        EXPECT_EQ(token.words, row.words);
        EXPECT_EQ(out.text(), row.text);
    }
}

// Each reply in turn gets every length, with a good status word at its end: a shorter one is a
// failure, a longer one that its frame has room for changes nothing.
TEST(Services, CutAndPaddedReplies) {
    for (const Row& row : rows) {
        TokenTalker sound;
        Out expected;
        const u32 expectedRv = row.run(sound, expected);
        for (std::size_t target = 0; target < sound.frames.size(); ++target) {
            for (std::size_t length = 0; length <= sound.rooms[target] + 1; ++length) {
                TokenTalker token;
                bool isBad = false;
                token.change = [&](std::size_t index, u32 room, TokenTalker::Answer& given) {
                    if (index == target && given.bytes.back() == 0x90) {
                        isBad = length < given.bytes.size() || length > room;
                        given.bytes.resize(std::max<std::size_t>(length, 2) - 2, 0xEE);
                        append16(given.bytes, 0x9000);
                        given.bytes.resize(length);
                    }
                };
                Out out;
                const u32 rv = row.run(token, out);
                ASSERT_EQ(rv, isBad ? badReply : expectedRv) << row.words << " " << length;
                ASSERT_EQ(token.frames.size(), isBad ? target + 1 : sound.frames.size());
                if (!isBad) {
                    ASSERT_EQ(out.text(), expected.text()) << row.words << " " << length;
                }
            }
        }
    }
}

TEST(Services, BadPathsSendNothing) {
    for (const char* path : {"", "3f0", "3f00a", "3f0g", "+3f0", "-001", "0x3f", "3f00 001"}) {
        TokenTalker token;
        EXPECT_EQ(fs.del(token, path), invalid) << path;
        EXPECT_EQ(fs.createFile(token, path, true), invalid) << path;
        EXPECT_EQ(token.words, "") << path;
    }
}

TEST(Services, ListsUpTo1024Children) {
    TokenTalker token;
    token.objects["3f00d900"].children.assign(1024, 2);
    token.objects["3f00d9000002"] = {};
    std::vector<std::string> names;
    EXPECT_EQ(fs.dir(token, "3f00d900", names), 0);
    EXPECT_EQ(token.frames.size(), 1026);
    token.objects["3f00d900"].children.push_back(2);
    EXPECT_EQ(fs.dir(token, "3f00d900", names), badReply);
    EXPECT_EQ(names.size(), 1024);
}

TEST(Services, NothingIsSelectedBelowLevel255) {
    for (const std::size_t levels : {255U, 256U}) {
        TokenTalker token;
        for (std::string path = "3f00"; path.size() <= 4 * levels; path += "0001") {
            token.objects[path] = {2, 0, 0, std::vector<u16>(path.size() < 4 * levels, 1)};
        }
        EXPECT_EQ(fs.del(token, "3f00"), levels == 255 ? 0 : badReply);
        EXPECT_EQ(token.words.find("delete") != std::string::npos, levels == 255);
    }
}

TEST(ServicesDeathTest, APathHasToStayWhole) {
    TokenTalker token;
    QVFileInfo info;
    std::string path = "3f00";
    token.change = [&](std::size_t, u32, TokenTalker::Answer&) { path.pop_back(); };
    EXPECT_EXIT(fs.selectPath(token, path, info), testing::ExitedWithCode(1),
                "at file: Components/qv_aid/qv_filesystem at line: 576\n$");
}

}  // namespace
