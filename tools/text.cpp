#include "tools/text.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace tools {
namespace {

constexpr std::size_t bytesPerLine = 16;

char shown(std::uint8_t byte) {
    return byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
}

}  // namespace

std::string printable(std::string text) {
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

std::string hexOf(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

std::string charactersOf(std::span<const std::uint8_t> bytes) {
    std::string text(bytes.size(), '.');
    std::transform(bytes.begin(), bytes.end(), text.begin(), shown);
    return text;
}

std::string idText(std::uint16_t id) {
    const std::uint8_t bytes[] = {static_cast<std::uint8_t>(id >> 8),
                                  static_cast<std::uint8_t>(id)};
    return hexOf(bytes);
}

std::string dumpOf(std::span<const std::uint8_t> bytes, std::size_t first) {
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += bytesPerLine) {
        const auto line = bytes.subspan(at, std::min(bytesPerLine, bytes.size() - at));
        char offset[16];
        std::snprintf(offset, sizeof offset, "%08zx ", first + at);
        text += offset;
        for (std::size_t i = 0; i < bytesPerLine; ++i) {
            text += i == bytesPerLine / 2 ? "  " : " ";
            text += i < line.size() ? hexOf(line.subspan(i, 1)) : "  ";
        }
        text += "  " + charactersOf(line) + '\n';
    }
    return text;
}

bool isHex(const std::string& text, std::size_t digits) {
    return text.size() == digits &&
           text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

bool isPath(const std::string& text) {
    return !text.empty() && text.size() % digitsPerLevel == 0 && text.size() <= longestPath &&
           isHex(text, text.size());
}

std::string lowered(std::string text) {
    for (char& c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return text;
}

}  // namespace tools
