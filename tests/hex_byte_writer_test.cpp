#include "shell/hex_byte_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "include/basic_types.h"

namespace {

TEST(HexByteWriter, LeavesTheBaseDecimal) {
    std::ostringstream stream;
    const u8 bytes[] = {0x0A, 0xFF};
    std::copy_n(bytes, 2, HexByteWriter(stream << std::hex));
    stream << 10;
    EXPECT_EQ(stream.str(), "0a ff 10");
}

}  // namespace
