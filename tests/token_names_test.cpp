#include "apdulib/token_names.h"

#include <gtest/gtest.h>

#include <string>

using namespace ksigil;

namespace {

const struct {
    std::string colour, package;
} names[] = {
    {"Red", "Unknown (0)"},
    {"Blue", "Delete_File_Package"},
    {"Green", "Uninstall_Package"},
    {"Tangerine", "PCSC_Package"},
    {"Ice", "DSA_Package"},
    {"Purple", "Unknown (5)"},
    {"Lime", "Unknown (6)"},
    {"Pink", "Generate_Key_Pair_Package"},
    {"Black", "Manage_Channel_Package"},
    {"Undefined", "Unknown (9)"},
    {"Undefined", "Unknown (a)"},
    {"Undefined", "Leading_Zeroes_Package"},
    {"Undefined", "UseCounter_Package"},
    {"Undefined", "DSI_Extension_Package"},
    {"Undefined", "Undefined"},
};

TEST(TokenNames, OfColoursAndPackages) {
    for (u8 i = 0; i < std::size(names); ++i) {
        EXPECT_EQ(colourName(i), names[i].colour) << +i;
        EXPECT_EQ(packageName(i), names[i].package) << +i;
    }
}

}  // namespace
