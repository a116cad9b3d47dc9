#include <openssl/evp.h>
#include <openssl/provider.h>

#include <random>

#include "include/qv_appentry.h"
#include "platform/embedded_resource_manager.h"
#include "tests/toolbox/token_talker.h"
#include "tests/toolbox/programs.h"

namespace {

const QVFileSystem fs;
const QVAppEntry entries;
const std::string label = "6b536967696c206170706c69636174696f6e20656e7472792066696c652e";
const std::string entry = "230030003033303030";  // directory "3000" for the id 0x30003000
const std::string select = ", select 3f00a1a1";

// A fresh embedded token, in use while it exists, with a talker on it. Tells the frames in words,
// each behind a comma; one of them can get lost, and the token then meets one that it refuses.
struct WatchedToken : ScratchFolder, platform::EmbeddedResourceManager {
    WatchedToken() : EmbeddedResourceManager({(putFreshImage(file("t")), file("t"))}) {
        platform::useResourceManager(this);
        talker.create();
    }
    ~WatchedToken() override {
        talker.detach(SCARD_LEAVE_CARD);
        platform::useResourceManager(nullptr);
    }

    u32 transmit(u32 card, u32 protocol, const u8* send, u32 length, u8* reply,
                 u32& room) override {
        words += ", " + wordOf({send, send + length});
        const bool isLost = framesToLoss-- == 0;
        const Bytes frame = isLost ? Bytes{0, 0xFF, 0, 0, 0, 0, 0} : Bytes(send, send + length);
        return EmbeddedResourceManager::transmit(card, protocol, frame.data(),
                                                 static_cast<u32>(frame.size()), reply, room);
    }

    std::string take() { return std::exchange(words, {}); }

    // The entry file in hexadecimal, empty if there is none.
    std::string entryBytes() {
        Bytes bytes;
        fs.readFile(talker, "3f00a1a1", bytes);
        return hex(bytes);
    }

    std::string words;
    int framesToLoss = -1;
    RMApduTalker talker{"VDW ifdh 0", SCARD_SHARE_SHARED};
};

// Asks for the entry, gets, sets or removes it. Gives the result and what else comes back.
std::string perform(char operation, u32 id, ApduTalker& talker) {
    bool exists = false;
    Bytes out;
    const u32 rv = operation == '?'   ? entries.isAppEntryExist(talker, id, exists)
                   : operation == 'g' ? entries.get_kSAppEntry(talker, id, out)
                   : operation == 's' ? entries.set_kSAppEntry(talker, id, {'a', 'b', 'c', 'd'})
                                      : entries.remove_kSAppEntry(talker, id);
    return std::to_string(rv) + (exists ? "yes" : "") + hex(out);
}

TEST(AppEntry, ReadsAndRewritesTheFile) {
    const std::string twin = "237856341234353637", abcd = "237856341261626364";
    // No usual marker, no usual label; a record that is cut off, and one that is all but there.
    const std::string odd = "99aabbccdd33343536", junk = hex(Bytes(30, 0xEE));
    const std::string cut = odd + "2300112233445566", none = hex(Bytes(38, 0xEE));
    const std::tuple<std::string, char, u32, std::string, std::string> rows[] = {
        {"", '?', 1, "0", ""},
        {"", 'r', 1, "3758515207", ""},
        {"", 's', 0x12345678, "0", label + abcd},
        {hex(Bytes(29, 0xEE)), '?', 0xEEEEEEEE, "0", hex(Bytes(29, 0xEE))},
        {label, '?', 0x12345678, "0", label},
        {none, '?', 0xEEEEEEEE, "0", none},
        {none + "ee", '?', 0xEEEEEEEE, "0yes", none + "ee"},
        {junk + cut, 's', 0x12345678, "0", label + odd + abcd},
        {junk + cut, 'g', 0x33221100, "87", junk + cut},
        {junk + twin + twin, 's', 0x12345678, "0", label + abcd + twin},
        {junk + abcd + twin, 'g', 0x12345678, "061626364", junk + abcd + twin},
        {junk + abcd + twin, 'r', 0x12345678, "0", label + twin},
        {junk + twin, 'r', 0x5678, "87", junk + twin},
        {junk + odd, 'r', 0xDDCCBBAA, "0", label}};
    for (const auto& [before, operation, id, outcome, after] : rows) {
        WatchedToken token;
        const Bytes bytes = bytesOf(before);
        if (!bytes.empty()) {
            fs.createFile(token.talker, "3f00a1a1", static_cast<u32>(bytes.size()), false);
            fs.writeFile(token.talker, "3f00a1a1", 0, bytes);
        }
        token.take();
        EXPECT_EQ(perform(operation, id, token.talker), outcome) << before;
        EXPECT_EQ(token.take().find("write") != std::string::npos, after != before);
        EXPECT_EQ(token.entryBytes(), after);
    }
}

TEST(AppEntry, HoldsUpTo7278RecordsOfFourBytes) {
    WatchedToken token;
    EXPECT_EQ(entries.writeAppEntryFile(token.talker, std::vector<AppEntryRecord>(7277)), 0);
    EXPECT_EQ(perform('s', 1, token.talker), "0");
    EXPECT_EQ(token.entryBytes().size(), 2 * 65532U);
    EXPECT_EQ(perform('g', 1, token.talker), "061626364");
    EXPECT_EQ(perform('s', 2, token.talker), "2147942487");
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // the other style would end our files too
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
        EXPECT_EQ(fs.createFile(token.talker, std::string(rootPath) + id, 0, false), 0);
    }
    for (const auto& [start, found, rv] : cases) {
        token.take();
        std::string directory = start;
        EXPECT_EQ(entries.findNextDirectory(token.talker, directory), rv) << start;
        EXPECT_EQ(directory, found);
        EXPECT_EQ(token.take().empty(), rv == 87) << start;
    }
}

// How far the protector is: '-' nothing, 'f' a file without its entry, 'e' the entry, 'd' the
// directory, 'k' the key, 'v' its value.
char stateOf(WatchedToken& token) {
    Bytes out;
    QVFileInfo info;
    const std::string file = token.entryBytes();
    char state = file.empty() ? '-' : file.ends_with(entry) ? 'e' : 'f';
    state = fs.getFileInfo(token.talker, "3f003000", info) == 0 ? 'd' : state;
    state = fs.getFileInfo(token.talker, "3f0030000001", info) == 0 ? 'k' : state;
    return fs.desx(token.talker, "3f0030000001", true, {}, out) == 0 ? 'v' : state;
}

// Each frame of `create` in turn is refused. Only the search for an old file to delete may fail.
TEST(Protector, GoesOnFromWhereAFaultLeftIt) {
    const std::string left = "----v--ffeeedddkk";
    for (std::size_t at = 0; at < left.size(); ++at) {
        WatchedToken token;
        QVProtector protector;
        Bytes out;
        token.framesToLoss = static_cast<int>(at);
        EXPECT_EQ(protector.create(token.talker), at == 4 ? 0 : 0xE0066800) << at;
        EXPECT_EQ(stateOf(token), left[at]) << at;
        token.take();
        const u32 expected = left[at] == 'v' ? 0 : left[at] == 'k' ? 0xE0066405 : 0xE0130001;
        EXPECT_EQ(protector.operation(token.talker, true, {}, out), expected) << at;
        EXPECT_EQ(token.take().find("desx") == std::string::npos, expected == 0xE0130001);
        EXPECT_EQ(protector.create(token.talker), 0);
        EXPECT_EQ(stateOf(token), left[at] == 'k' ? 'k' : 'v') << at;
    }
}

TEST(Protector, TakesTheNextFreeDirectory) {
    WatchedToken token;
    EXPECT_EQ(fs.createDirectory(token.talker, "3f003000", false), 0);
    EXPECT_EQ(entries.writeAppEntryFile(token.talker, {}), 0);
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
    u32 length = 0;
    EXPECT_EQ(QVProtector().maxOperationLength(7, &length) + length, 8U);
    EXPECT_EQ(QVProtector().maxOperationLength(8, &length) + length, 16U);
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

TEST(CryptoCommands, SendTheFewestFrames) {
    WatchedToken token;
    std::string expected = select + select + ", read 00002700";
    expected += expected + ", select 3f003000, select 3f0030000001, select 3f0030000001";
    for (int i = 0; i < 125; ++i) {
        expected += ", desx 016161616161616161";
    }
    QVProtector().create(token.talker);
    fs.createDirectory(token.talker, "3f00d800", false);
    token.take();
    shell("pr E " + std::string(1000, 'a') + " exit");
    EXPECT_EQ(token.take(), expected + ", desx 010808080808080808");
    shell("t exit");
    const std::string zeros = hex(Bytes(986));
    EXPECT_EQ(token.take(),
              ", select 3f00d8000001, select 3f00d800, create 0100d0070100, select "
              "3f00d8000001, write 0000da03" +
                  zeros + ", write da03da03" + zeros + ", write b4071c00" + hex(Bytes(28)));
}

}  // namespace
