#include "apdulib/token_names.h"

#include <iterator>

namespace {

constexpr const char* undefined = "Undefined";

constexpr const char* colours[] = {
    "Red", "Blue", "Green", "Tangerine", "Ice", "Purple", "Lime", "Pink", "Black",
};

constexpr const char* packages[] = {
    "Unknown (0)",
    "Delete_File_Package",
    "Uninstall_Package",
    "PCSC_Package",
    "DSA_Package",
    "Unknown (5)",
    "Unknown (6)",
    "Generate_Key_Pair_Package",
    "Manage_Channel_Package",
    "Unknown (9)",
    "Unknown (a)",
    "Leading_Zeroes_Package",
    "UseCounter_Package",
    "DSI_Extension_Package",
};

}  // namespace

const char* colourName(u8 code) {
    return code < std::size(colours) ? colours[code] : undefined;
}

const char* ksigil::packageName(u32 index) {
    return index < std::size(packages) ? packages[index] : undefined;
}
