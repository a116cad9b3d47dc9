#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace tools {

// What the command line says. A file "-" is standard input or output.
struct Options {
    std::optional<std::string> reader;  // none: the usual one
    std::string passwordFile;           // empty: asked at the terminal
    std::string newPasswordFile;        // the same
    bool json = false;

    std::optional<std::string> path;   // lower case
    std::array<std::string, 3> words;  // of encrypt and decrypt, before they are placed
    std::string input;                 // empty: the command reads none
    std::string output = "-";
    std::optional<std::uint32_t> offset;
    std::optional<std::uint32_t> length;
    std::uint32_t entry = 0;                // an application's id
    std::array<std::uint8_t, 4> content{};  // of the entry
    bool isLong = false;
    bool isRecursive = false;
    bool isPrivate = false;
    bool isTwoFactor = false;
    bool isForced = false;
    bool isInPlace = false;
    bool withProtector = false;

    std::string pathOr(const char* other) const { return path.value_or(other); }
};

}  // namespace tools
