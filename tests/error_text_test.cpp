#include "apdulib/error_text.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <utility>

using namespace ksigil;

namespace {

// By the low half of the token's result numbers; the number comes behind.
const std::map<u32, std::string> tokenTexts{
    {0x6400, "General failure. "},
    {0x6401, "Not enough memory on host machine. "},
    {0x6402, "Internal (implementation) error. "},
    {0x6403, "Bad parameters given to command. "},
    {0x6404, "No file selected. "},
    {0x6405, "Bad file selected. "},
    {0x6406, "File is not a leaf (cannot be deleted). "},
    {0x6407, "Bad path (not found). "},
    {0x6408, "Illegal File ID. "},
    {0x6409, "Not enough memory on token. "},
    {0x640a, "Output buffer given too small "},
    {0x640b, "File size incorrect "},
    {0x640c, "Token unmounted. "},
    {0x640d, "Invalid granularity. "},
    {0x640e, "Total of areas not equal to file system size. "},
    {0x640f, "Total of areas not equal to file system size. "},
    {0x6410, "Number of FAT entries not >= 1. "},
    {0x6411, "Invalid secret area size "},
    {0x6412, "Invalid private area size "},
    {0x6413, "Invalid public area size "},
    {0x6414, "Token memory too fragmented "},
    {0x6415, "No key selected "},
    {0x6416, "Bad Pin size "},
    {0x6581, "EE memory corrupted. "},
    {0x6800, "Unsupported operation. "},
    {0x6982, "Security privilege not high enough. "},
    {0x6a86, "Bad P1 or P2. "},
    {0x6a87, "Bad datal length. (Lc field) "},
    {0x9000, "Success "},
};

TEST(ErrorText, OfEachNumberOfTheToken) {
    for (u32 low = 0; low <= 0xFFFF; ++low) {
        const u32 rv = 0xE0060000 + low;
        std::ostringstream expected;
        expected << (tokenTexts.contains(low) ? tokenTexts.at(low) : "No error code. ") << "0x"
                 << std::hex << rv;
        EXPECT_EQ(errorText(rv), expected.str());
    }
}

TEST(ErrorText, OfOtherNumbers) {
    const std::pair<u32, const char*> cases[] = {
        {0x64, "0x64"},
        {0x8006640C, "Token unmounted. 0x8006640c"},
        {0x1006640C, "0x1006640c"},
        {0xE016640C, "0xe016640c"},
        {0xE0066300, "No error code. 0xe0066300"},
        {0x80070057, "Invalid Parameter.0x80070057"},
    };
    for (const auto& [rv, text] : cases) {
        EXPECT_EQ(errorText(rv), text);
    }
}

}  // namespace
