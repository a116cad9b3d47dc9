#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

inline std::string hexOf(std::span<const std::uint8_t> bytes) {
    std::string digits;
    for (const std::uint8_t byte : bytes) {
        digits += "0123456789abcdef"[byte >> 4];
        digits += "0123456789abcdef"[byte & 0xF];
    }
    return digits;
}

// Blanks between the digits are of no account.
inline Bytes bytesOf(std::string_view hex) {
    std::string digits;
    for (const char c : hex) {
        if (c != ' ') {
            digits += c;
        }
    }
    Bytes bytes;
    for (std::size_t at = 0; at + 1 < digits.size(); at += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(at, 2), nullptr, 16)));
    }
    return bytes;
}

inline void append16(Bytes& bytes, std::uint32_t value) {
    bytes.push_back(static_cast<std::uint8_t>(value));
    bytes.push_back(static_cast<std::uint8_t>(value >> 8));
}
