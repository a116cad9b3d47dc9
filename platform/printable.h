#pragma once

#include <string>

namespace platform {

// The text with '?' for each control character, so that a name from outside stays on one line.
inline std::string printable(std::string text) {
    for (char& c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) {
            c = '?';
        }
    }
    return text;
}

}  // namespace platform
