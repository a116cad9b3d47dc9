#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

inline std::string hexOf(std::span<const std::uint8_t> bytes) {
    std::string digits;
    for (const std::uint8_t value : bytes) {
        digits += "0123456789abcdef"[value >> 4];
        digits += "0123456789abcdef"[value & 0xF];
    }
    return digits;
}

// Blanks between the digits are of no account.
inline Bytes bytesOf(std::string_view hex) {
    std::string digits(hex);
    std::erase(digits, ' ');
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

// A frame as its name and data field, a selection as its path: "select 3f00a1a1", "read 0000da03".
inline std::string wordsOf(const Bytes& frame) {
    static const std::map<std::uint8_t, std::string> names{
        {0x20, "login"},  {0xD4, "change"}, {0xDC, "logout"}, {0xE0, "create"}, {0xE2, "delete"},
        {0xA4, "select"}, {0xB0, "read"},   {0xD0, "write"},  {0xD6, "key"},    {0xD2, "list"},
        {0xD8, "desx"},   {0xDA, "info"},   {0xDE, "word"}};
    Bytes field(frame.begin() + 7, frame.end());
    if (frame[1] == 0xA4) {
        field.erase(field.begin(), field.begin() + 2);
        for (std::size_t at = 0; at + 1 < field.size(); at += 2) {
            std::swap(field[at], field[at + 1]);
        }
    }
    return names.at(frame[1]) + " " + hexOf(field);
}
