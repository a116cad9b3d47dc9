#include "Components/qv_aid/qv_protector.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <algorithm>
#include <functional>

#include "include/qv_appentry.h"
#include "tests/toolbox/watched_token.h"

namespace {

const QVFileSystem fs;
const QVAppEntry entries;
const std::string label = "6b536967696c206170706c69636174696f6e20656e7472792066696c652e";

// Gives the operation's result and what else comes back.
std::string perform(const std::string& operation, ApduTalker& talker, u32 id) {
    const Bytes data{'a', 'b', 'c', 'd'};
    bool isThere = operation == "exists";
    Bytes out;
    const std::map<std::string, std::function<u32()>> operations{
        {"exists", [&] { return entries.isAppEntryExist(talker, id, isThere); }},
        {"get", [&] { return entries.get_kSAppEntry(talker, id, out); }},
        {"set", [&] { return entries.set_kSAppEntry(talker, id, data); }},
        {"remove", [&] { return entries.remove_kSAppEntry(talker, id); }}};
    const u32 rv = operations.at(operation)();
    return std::to_string(rv) + (isThere ? "yes" : "") + hexOf(out);
}

TEST(AppEntry, ReadsAndRewritesTheFile) {
    const std::string twin = "237856341234353637";
    const std::string abcd = "237856341261626364";
    // No usual marker, no usual label; a record that is cut off, and one that is all but there.
    const std::string odd = "99aabbccdd33343536";
    const std::string junk = hexOf(Bytes(30, 0xEE));
    const std::string cut = odd + "2300112233445566";
    const std::string none = hexOf(Bytes(38, 0xEE));
    // The file before, an operation and its id, what it gives, and the file behind it.
    const std::tuple<std::string, const char*, u32, std::string, std::string> rows[] = {
        {"", "exists", 1, "0", ""},
        {"", "remove", 1, "3758515207", ""},
        {"", "set", 0x12345678, "0", label + abcd},
        {hexOf(Bytes(29, 0xEE)), "exists", 0xEEEEEEEE, "0", hexOf(Bytes(29, 0xEE))},
        {label, "exists", 0x12345678, "0", label},
        {none, "exists", 0xEEEEEEEE, "0", none},
        {none + "ee", "exists", 0xEEEEEEEE, "0yes", none + "ee"},
        {junk + cut, "set", 0x12345678, "0", label + odd + abcd},
        {junk + cut, "get", 0x33221100, "87", junk + cut},
        {junk + twin + twin, "set", 0x12345678, "0", label + abcd + twin},
        {junk + abcd + twin, "get", 0x12345678, "061626364", junk + abcd + twin},
        {junk + abcd + twin, "remove", 0x12345678, "0", label + twin},
        {junk + twin, "remove", 0x5678, "87", junk + twin},
        {junk + odd, "remove", 0xDDCCBBAA, "0", label}};
    for (const auto& [before, operation, id, outcome, after] : rows) {
        SCOPED_TRACE("from " + before + " to " + after);
        WatchedToken token;
        const Bytes bytes = bytesOf(before);
        if (!bytes.empty()) {
            fs.createFile(token.talker, "3f00a1a1", static_cast<u32>(bytes.size()), false);
            fs.writeFile(token.talker, "3f00a1a1", 0, bytes);
        }
        token.take();
        EXPECT_EQ(perform(operation, token.talker, id), outcome);
        EXPECT_EQ(token.take().find("write") != std::string::npos, after != before);
        EXPECT_EQ(token.entryBytes(), after);
    }
}

TEST(AppEntry, HoldsUpTo7278RecordsOfFourBytes) {
    WatchedToken token;
    EXPECT_EQ(entries.writeAppEntryFile(token.talker, std::vector<AppEntryRecord>(7277)), 0);
    EXPECT_EQ(perform("set", token.talker, 1), "0");
    EXPECT_EQ(token.entryBytes().size(), 2 * 65532U);
    EXPECT_EQ(perform("get", token.talker, 1), "061626364");
    EXPECT_EQ(perform("set", token.talker, 2), "2147942487");
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

const std::string entry = "230030003033303030";  // directory "3000" for the id 0x30003000
const std::string select = ", select 3f00a1a1";

// The last thing of the protector that is there.
std::string reached(WatchedToken& token) {
    Bytes out;
    QVFileInfo info;
    if (fs.desx(token.talker, "3f0030000001", true, {}, out) == 0) {
        return "value";
    }
    if (fs.getFileInfo(token.talker, "3f0030000001", info) == 0) {
        return "key";
    }
    if (fs.getFileInfo(token.talker, "3f003000", info) == 0) {
        return "directory";
    }
    const std::string file = token.entryBytes();
    return file.empty() ? "nothing" : file.ends_with(entry) ? "entry" : "file without entry";
}

// Each frame of `create` in turn is refused. Only the search for an old file to delete may fail.
TEST(Protector, GoesOnFromWhereAFaultLeftIt) {
    const u32 refused = 0xE0066800, badFile = 0xE0066405, absent = 0xE0130001;
    // How many frames, what they leave, and the results of create and of a use behind it.
    const std::tuple<int, const char*, u32, u32> rows[] = {
        {4, "nothing", refused, absent}, {1, "value", 0, 0},
        {2, "nothing", refused, absent}, {2, "file without entry", refused, absent},
        {3, "entry", refused, absent},   {3, "directory", refused, absent},
        {2, "key", refused, badFile}};
    int frame = 0;
    std::set<std::string> keys;
    for (const auto& [frames, left, created, used] : rows) {
        for (int i = 0; i < frames; ++i) {
            SCOPED_TRACE(frame);
            WatchedToken token;
            QVProtector protector;
            Bytes out;
            token.framesToLoss = frame++;
            EXPECT_EQ(protector.create(token.talker), created);
            EXPECT_EQ(reached(token), left);
            token.take();
            EXPECT_EQ(protector.operation(token.talker, true, {}, out), used);
            EXPECT_EQ(token.take().find("desx") == std::string::npos, used == absent);
            EXPECT_EQ(protector.create(token.talker), 0);
            const std::size_t key = token.words.find(", key ");
            EXPECT_TRUE(key == std::string::npos ||
                        keys.insert(token.words.substr(key, 38)).second);
            EXPECT_EQ(reached(token), used == badFile ? "key" : "value");
        }
    }
}

TEST(Protector, TakesTheNextFreeDirectory) {
    WatchedToken token;
    EXPECT_EQ(fs.createDirectory(token.talker, "3f003000", false), 0);
    EXPECT_EQ(QVAppEntry().writeAppEntryFile(token.talker, {}), 0);
    token.take();
    EXPECT_EQ(QVProtector().create(token.talker), 0);
    const std::string read = select + select + ", read 00001e00";
    const std::string expected =
        read + ", select 3f00, list 000000, select 3f003000" + select + read + select + select +
        ", delete 01, select 3f00, create 01002700a1a1" + select + ", write 00002700" + label +
        "230030003033303031, select 3f003001, select 3f00, create 020000000130, select "
        "3f0030010001, select 3f003001, create 030218000100, select 3f0030010001, key ";
    EXPECT_TRUE(token.words.starts_with(expected)) << token.words;
    EXPECT_EQ(token.words.find("00000000", expected.size()), std::string::npos);
    Bytes out;
    EXPECT_EQ(QVProtector().operation(token.talker, true, {}, out), 0);  // as its entry leads
    u32 length = 0;
    EXPECT_EQ(QVProtector().maxOperationLength(7, &length), 0);
    EXPECT_EQ(length, 8U);
    EXPECT_EQ(QVProtector().maxOperationLength(8, &length), 0);
    EXPECT_EQ(length, 16U);
}

TEST(Desx, IsThatOfAnotherImplementation) {
    std::mt19937 random(25);
    WatchedToken token;
    EXPECT_EQ(fs.createFile(token.talker, "3f000001", false), 0);
    OSSL_PROVIDER_load(nullptr, "legacy");
    static EVP_CIPHER* const cipher = EVP_CIPHER_fetch(nullptr, "DESX-CBC", nullptr);
    static EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
    for (int round = 0; round < 200; ++round) {
        Bytes key(24);
        std::generate(key.begin(), key.end(), [&] { return static_cast<u8>(random()); });
        std::fill_n(key.begin(), round == 0 ? 8 : 0, u8{1});  // a weak key is one like others
        Bytes blocks(key.begin() + 16, key.end());
        Bytes output;
        EXPECT_EQ(fs.writeFile(token.talker, "3f000001", Bytes(key.begin(), key.begin() + 16)), 0);
        EXPECT_EQ(fs.desx(token.talker, "3f000001", true, blocks, output), 0);
        std::copy_n(key.begin() + 8, 8, key.begin() + 16);
        blocks.resize(16, 8);
        for (u8* const block : {&blocks[0], &blocks[8]}) {
            int length = 0;
            EVP_EncryptInit_ex2(context, cipher, key.data(), Bytes(8).data(), nullptr);
            EVP_EncryptUpdate(context, block, &length, block, 8);
        }
        EXPECT_EQ(output, blocks);
    }
}

}  // namespace
