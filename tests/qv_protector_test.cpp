#include "Components/qv_aid/qv_protector.h"

#include <gtest/gtest.h>

#include "include/qv_appentry.h"
#include "tests/toolbox/watched_token.h"

namespace {

const QVFileSystem fs;
const std::string label = "6b536967696c206170706c69636174696f6e20656e7472792066696c652e";
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
    const struct {
        int frames;
        const char* left;
        u32 created, used;  // the results of create and of a use behind it
    } rows[] = {{4, "nothing", refused, absent}, {1, "value", 0, 0},
                {2, "nothing", refused, absent}, {2, "file without entry", refused, absent},
                {3, "entry", refused, absent},   {3, "directory", refused, absent},
                {2, "key", refused, badFile}};
    int frame = 0;
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
    u32 length = 0;
    EXPECT_EQ(QVProtector().maxOperationLength(7, &length), 0);
    EXPECT_EQ(length, 8U);
    EXPECT_EQ(QVProtector().maxOperationLength(8, &length), 0);
    EXPECT_EQ(length, 16U);
}

}  // namespace
