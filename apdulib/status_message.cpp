#include "apdulib/status_message.h"

namespace {

struct Message {
    u16 status;
    const char* text;
};

constexpr Message messages[] = {
    {0x6400, "General failure."},
    {0x6401, "Not enough memory on host machine."},
    {0x6402, "Internal (implementation) error."},
    {0x6403, "Bad parameters given to command."},
    {0x6404, "No file selected."},
    {0x6405, "Bad file selected."},
    {0x6406, "File is not a leaf (cannot be deleted)."},
    {0x6407, "Bad path (not found)."},
    {0x6408, "Illegal File ID."},
    {0x6409, "Not enough memory on token."},
    {0x640A, "Output buffer given too small"},
    {0x640B, "File size incorrect"},
    {0x640C, "Token unmounted."},
    {0x640D, "Invalid granularity."},
    {0x640E, "Total of areas not equal to file system size."},
    {0x640F, "Total of areas not equal to file system size."},
    {0x6410, "Number of FAT entries not >= 1."},
    {0x6411, "Invalid secret area size"},
    {0x6412, "Invalid private area size"},
    {0x6413, "Invalid public area size"},
    {0x6414, "Token memory too fragmented"},
    {0x6415, "No key selected"},
    {0x6416, "Bad Pin size"},
    {0x6581, "EE memory corrupted."},
    {0x6800, "Unsupported operation."},
    {0x6982, "Security privilege not high enough."},
    {0x6A86, "Bad P1 or P2."},
    {0x6A87, "Bad datal length. (Lc field)"},
    {0x9000, "Success"},
};

}  // namespace

const char* statusMessage(u16 status) {
    const char* text = "No error code.";
    for (const Message& message : messages) {
        if (message.status == status) {
            text = message.text;
        }
    }
    return text;
}
