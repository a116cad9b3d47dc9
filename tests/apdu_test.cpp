#include <gtest/gtest.h>

#include <memory>
#include <tuple>

#include "apdulib/apdu_directory.h"
#include "apdulib/apdu_file.h"
#include "apdulib/apdu_info.h"
#include "apdulib/apdu_key.h"
#include "apdulib/apdu_password.h"
#include "tests/toolbox/token_talker.h"

using namespace ksigil;

namespace {

const Bytes counted{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
const u16 ids[] = {0x3F00, 0xA1A1, 0x0001};

template <class Frame, class... Arguments>
std::unique_ptr<Apdu> make(Arguments... arguments) {
    return std::make_unique<Frame>(arguments...);
}

TEST(Frames, BytesAndRoom) {
    const Bytes longPassword(256, 0x41);
    const std::tuple<std::unique_ptr<Apdu>, std::string, u32> rows[] = {
        {make<ApduLogin>(counted.data(), 10), "0020000000000b0a00010203040506070809", 2},
        {make<ApduLogin>(0), "0020000000000100", 2},
        {make<ApduLogin>(longPassword.data(), 256), "0020000000010100" + hexOf(longPassword), 2},
        {make<ApduLogout>(), "00dc000000000100", 2},
        {make<ApduChangePassword>(counted.data(), 1), "00d400000000020100", 2},
        {make<ApduCreateFile>(1, 1, 0x0100, 0x0001), "00e00000000006010100010100", 2},
        {make<ApduCreateFile>(3, 2, 24, 0x0002), "00e00000000006030218000200", 2},
        {make<ApduDeleteFile>(2), "00e2000000000102", 2},
        {make<ApduSelectFile>(0, u16{0x3F00}), "00a400000000040001003f", 10},
        {make<ApduSelectFile>(0, ids, 2), "00a400000000060002003fa1a1", 10},
        {make<ApduSelectFile>(0, ids, 3), "00a400000000080003003fa1a10100", 10},
        {make<ApduReadBinary>(0x0010, 0x10020), "00b0000000000410002000", 0x10022},
        {make<ApduWriteBinary>(0, counted.data() + 10, 2), "00d00000000006000002000a0b", 2},
        {make<ApduWriteKey>(counted.data()), "00d60000000010" + hexOf(counted), 2},
        {make<ApduListDirectory>(0, 0), "00d20000000003000000", 2052},
        {make<ApduListDirectory>(0, 5), "00d20000000003050000", 14},
        {make<ApduDesx>(1, counted.data()), "00d80000000009010001020304050607", 10},
        {make<ApduGetInfo>(), "00da000000000100", 21},
        {make<ApduGetWord>(), "00de000000000100", 4},
    };
    for (const auto& [frame, bytes, room] : rows) {
        TokenTalker talker;
        EXPECT_EQ(frame->send(talker), 0) << bytes;
        EXPECT_EQ(hexOf(talker.frames.at(0)), bytes);
        EXPECT_EQ(talker.rooms.at(0), room) << bytes;
    }
}

}  // namespace
