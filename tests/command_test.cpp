#include <gmock/gmock.h>

#include <algorithm>

#include "shell/hex_byte_writer.h"
#include "tests/toolbox/recording_resource_manager.h"
#include "tests/toolbox/shell_run.h"

namespace {

using testing::EndsWith;

TEST(CommandFrame, HoldsTheCardFromTheFirstArgumentOn) {
    const std::string begin = " | begin 101", end = " | end 101 0", sent = " | transmit 101 2 0 ";
    const std::string exercise = begin + sent + "15 10" + sent + "13 10" + sent + "15 10" + end;
    // The input, the call that fails, the output's end, the status, what stays unread, the calls.
    const std::tuple<const char*, const char*, const char*, int, const char*, std::string> rows[] =
        {{"x login a md 3f00 no md 3f001000 PUB exit", "none",
          ">Syntax error.\n>FAIL: 0x80100013\n>Syntax error\n"
          ">Cannot call fs.createDirectory(): 0x80100013\n>",
          0, "", begin + sent + "9 2" + end + begin + end + begin + sent + "11 10" + end},
         {"t exit", "end", "\nCannot unlock0x80100016\n>", 0, "", exercise},
         {"login a exit", "transmit", "\n>FAIL: 0x80100016\n>", 0, "", begin + sent + "9 2" + end},
         {"pr X exit", "end", "-\n>Syntax error.\nCannot unlock0x80100016\n", 1, " exit",
          begin + end},
         {"t exit", "begin", "-\n>", 1, " exit", begin},
         {"login 1234 exit", "begin", "-\n>", 1, " 1234 exit", begin}};
    for (const auto& [input, failing, output, status, unread, calls] : rows) {
        RecordingResourceManager manager;
        manager.results[failing] = {0x80100016};
        SCOPED_TRACE(input);
        const ShellRun run = runShell(input);
        EXPECT_THAT(run.written, EndsWith(output));
        EXPECT_EQ(run.status, status);
        EXPECT_EQ(run.unread, unread);
        EXPECT_EQ(manager.take(), " | open 1" + calls + " | disconnect 101 0 | release 1");
    }
}

TEST(HexByteWriter, LeavesTheBaseDecimal) {
    std::ostringstream stream;
    const u8 bytes[] = {0x0A, 0xFF};
    std::copy_n(bytes, 2, HexByteWriter(stream << std::hex));
    stream << 10;
    EXPECT_EQ(stream.str(), "0a ff 10");
}

}  // namespace
