#pragma once

#include <string>

namespace token {

// The text with '?' for each byte of a control character, in UTF-8 too, so that a name from outside
// stays on one line and gives the terminal no orders.
inline std::string printable(std::string text) {
    bool afterC2 = false;
    for (char& c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F || (afterC2 && byte < 0xA0)) {
            c = '?';
        }
        afterC2 = byte == 0xC2;
    }
    return text;
}

}  // namespace token
