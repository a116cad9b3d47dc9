#include <gmock/gmock.h>

#include "apdulib/apdu_directory.h"
#include "apdulib/apdu_file.h"
#include "apdulib/apdu_info.h"
#include "apdulib/apdu_key.h"
#include "apdulib/apdu_password.h"
#include "apdulib/error_text.h"
#include "apdulib/token_names.h"
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
        {make<ApduSelectFile>(5, ids, 2), "00a400000000060502003fa1a1", 10},
        {make<ApduSelectFile>(0, ids, 3), "00a400000000080003003fa1a10100", 10},
        {make<ApduReadBinary>(0x0010, 0x10020), "00b0000000000410002000", 0x10022},
        {make<ApduWriteBinary>(0, counted.data() + 10, 2), "00d00000000006000002000a0b", 2},
        {make<ApduWriteKey>(counted.data()), "00d60000000010" + hexOf(counted), 2},
        {make<ApduListDirectory>(0, 0), "00d20000000003000000", 2052},
        {make<ApduListDirectory>(9, 5), "00d20000000003050009", 14},
        {make<ApduDesx>(1, counted.data()), "00d80000000009010001020304050607", 10},
        {make<ApduGetInfo>(), "00da000000000100", 21},
        {make<ApduGetWord>(), "00de000000000100", 4}};
    for (const auto& [frame, bytes, room] : rows) {
        TokenTalker talker;
        EXPECT_EQ(frame->send(talker), 0) << bytes;
        EXPECT_EQ(hexOf(talker.frames.at(0)), bytes);
        EXPECT_EQ(talker.rooms.at(0), room) << bytes;
    }
}

TEST(ErrorText, OfEachNumberOfTheToken) {
    std::vector<std::string> known;
    for (u32 rv = 0xE0060000; rv <= 0xE006FFFF; ++rv) {
        std::ostringstream unknown;
        unknown << "No error code. 0x" << std::hex << rv;
        if (errorText(rv) != unknown.str()) {
            known.push_back(errorText(rv));
        }
    }
    EXPECT_THAT(
        known,
        testing::ElementsAre(
            "General failure. 0xe0066400", "Not enough memory on host machine. 0xe0066401",
            "Internal (implementation) error. 0xe0066402",
            "Bad parameters given to command. 0xe0066403", "No file selected. 0xe0066404",
            "Bad file selected. 0xe0066405", "File is not a leaf (cannot be deleted). 0xe0066406",
            "Bad path (not found). 0xe0066407", "Illegal File ID. 0xe0066408",
            "Not enough memory on token. 0xe0066409", "Output buffer given too small 0xe006640a",
            "File size incorrect 0xe006640b", "Token unmounted. 0xe006640c",
            "Invalid granularity. 0xe006640d",
            "Total of areas not equal to file system size. 0xe006640e",
            "Total of areas not equal to file system size. 0xe006640f",
            "Number of FAT entries not >= 1. 0xe0066410", "Invalid secret area size 0xe0066411",
            "Invalid private area size 0xe0066412", "Invalid public area size 0xe0066413",
            "Token memory too fragmented 0xe0066414", "No key selected 0xe0066415",
            "Bad Pin size 0xe0066416", "EE memory corrupted. 0xe0066581",
            "Unsupported operation. 0xe0066800", "Security privilege not high enough. 0xe0066982",
            "Bad P1 or P2. 0xe0066a86", "Bad datal length. (Lc field) 0xe0066a87",
            "Success 0xe0069000"));
}

TEST(ErrorText, OfOtherNumbers) {
    const std::pair<u32, const char*> cases[] = {{0x64, "0x64"},
                                                 {0x8006640C, "Token unmounted. 0x8006640c"},
                                                 {0x1006640C, "0x1006640c"},
                                                 {0xE016640C, "0xe016640c"},
                                                 {0x80070057, "Invalid Parameter.0x80070057"}};
    for (const auto& [rv, text] : cases) {
        EXPECT_EQ(errorText(rv), text);
    }
}

TEST(TokenNames, OfColoursAndPackages) {
    std::string colours;
    std::string packages;
    for (u8 i = 0; i < 15; ++i) {
        colours += std::string(colourName(i)) + '/';
        packages += std::string(packageName(i)) + '/';
    }
    EXPECT_EQ(colours,
              "Red/Blue/Green/Tangerine/Ice/Purple/Lime/Pink/Black/Undefined/Undefined/Undefined/"
              "Undefined/Undefined/Undefined/");
    EXPECT_EQ(packages,
              "Unknown (0)/Delete_File_Package/Uninstall_Package/PCSC_Package/DSA_Package/"
              "Unknown (5)/Unknown (6)/Generate_Key_Pair_Package/Manage_Channel_Package/"
              "Unknown (9)/Unknown (a)/Leading_Zeroes_Package/UseCounter_Package/"
              "DSI_Extension_Package/Undefined/");
}

}  // namespace
