#include "include/qv_appentry.h"

#include <gtest/gtest.h>

#include <tuple>

#include "tests/toolbox/watched_token.h"

namespace {

const QVFileSystem fs;
const QVAppEntry entries;
const std::string label = "6b536967696c206170706c69636174696f6e20656e7472792066696c652e";

// Each gives the result and what else comes back.
using Operation = std::string (*)(ApduTalker& talker, u32 id);

std::string exists(ApduTalker& talker, u32 id) {
    bool isThere = false;
    const u32 rv = entries.isAppEntryExist(talker, id, isThere);
    return std::to_string(rv) + (isThere ? "yes" : "");
}

std::string get(ApduTalker& talker, u32 id) {
    Bytes out;
    const u32 rv = entries.get_kSAppEntry(talker, id, out);
    return std::to_string(rv) + hexOf(out);
}

std::string set(ApduTalker& talker, u32 id) {
    return std::to_string(entries.set_kSAppEntry(talker, id, {'a', 'b', 'c', 'd'}));
}

std::string remove(ApduTalker& talker, u32 id) {
    return std::to_string(entries.remove_kSAppEntry(talker, id));
}

TEST(AppEntry, ReadsAndRewritesTheFile) {
    const std::string twin = "237856341234353637";
    const std::string abcd = "237856341261626364";
    // No usual marker, no usual label; a record that is cut off, and one that is all but there.
    const std::string odd = "99aabbccdd33343536";
    const std::string junk = hexOf(Bytes(30, 0xEE));
    const std::string cut = odd + "2300112233445566";
    const std::string none = hexOf(Bytes(38, 0xEE));
    const struct {
        std::string before;
        Operation operation;
        u32 id;
        std::string outcome, after;
    } rows[] = {{"", exists, 1, "0", ""},
                {"", remove, 1, "3758515207", ""},
                {"", set, 0x12345678, "0", label + abcd},
                {hexOf(Bytes(29, 0xEE)), exists, 0xEEEEEEEE, "0", hexOf(Bytes(29, 0xEE))},
                {label, exists, 0x12345678, "0", label},
                {none, exists, 0xEEEEEEEE, "0", none},
                {none + "ee", exists, 0xEEEEEEEE, "0yes", none + "ee"},
                {junk + cut, set, 0x12345678, "0", label + odd + abcd},
                {junk + cut, get, 0x33221100, "87", junk + cut},
                {junk + twin + twin, set, 0x12345678, "0", label + abcd + twin},
                {junk + abcd + twin, get, 0x12345678, "061626364", junk + abcd + twin},
                {junk + abcd + twin, remove, 0x12345678, "0", label + twin},
                {junk + twin, remove, 0x5678, "87", junk + twin},
                {junk + odd, remove, 0xDDCCBBAA, "0", label}};
    for (const auto& [before, operation, id, outcome, after] : rows) {
        SCOPED_TRACE("from " + before + " to " + after);
        WatchedToken token;
        const Bytes bytes = bytesOf(before);
        if (!bytes.empty()) {
            fs.createFile(token.talker, "3f00a1a1", static_cast<u32>(bytes.size()), false);
            fs.writeFile(token.talker, "3f00a1a1", 0, bytes);
        }
        token.take();
        EXPECT_EQ(operation(token.talker, id), outcome);
        EXPECT_EQ(token.take().find("write") != std::string::npos, after != before);
        EXPECT_EQ(token.entryBytes(), after);
    }
}

TEST(AppEntry, HoldsUpTo7278RecordsOfFourBytes) {
    WatchedToken token;
    EXPECT_EQ(entries.writeAppEntryFile(token.talker, std::vector<AppEntryRecord>(7277)), 0);
    EXPECT_EQ(set(token.talker, 1), "0");
    EXPECT_EQ(token.entryBytes().size(), 2 * 65532U);
    EXPECT_EQ(get(token.talker, 1), "061626364");
    EXPECT_EQ(set(token.talker, 2), "2147942487");
    EXPECT_EXIT(AppEntryRecord(1, Bytes(5)), testing::ExitedWithCode(1),
                "failed: c.size\\(\\) == 4 at file: include/qv_appentry at line: 144\n");
}

TEST(AppEntry, FindsAFreeDirectory) {
    const std::tuple<const char*, const char*, u32> cases[] = {
        {"3000", "3002", 0}, {"2fff", "2fff", 0}, {"003000", "3002", 0}, {"A1A0", "a1a2", 0},
        {"500", "500", 0},   {"ffed", "ffed", 0}, {"ffee", "ffef", 8},   {"fff0", "fff0", 8},
        {"FFFF", "FFFF", 8}, {"", "", 87},        {"xyz", "xyz", 87},    {"30z", "30z", 87},
        {" 30", " 30", 87},  {"0x3", "0x3", 87},  {"+30", "+30", 87},    {"10000", "10000", 87}};
    WatchedToken token;
    for (const char* id : {"3000", "3001", "a1a0", "a1a1", "ffee", "ffef"}) {
        EXPECT_EQ(fs.createFile(token.talker, std::string(ksigil::rootPath) + id, 0, false), 0);
    }
    for (const auto& [start, found, rv] : cases) {
        token.take();
        std::string directory = start;
        EXPECT_EQ(entries.findNextDirectory(token.talker, directory), rv) << start;
        EXPECT_EQ(directory, found);
        EXPECT_EQ(token.take().empty(), rv == 87) << start;
    }
}

}  // namespace
