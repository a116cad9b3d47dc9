#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tools {

using Bytes = std::vector<std::uint8_t>;

// The text with '?' for each byte of a control character, in UTF-8 too: it stays on one line, and
// gives a terminal no orders.
std::string printable(std::string text);

std::string hexOf(std::span<const std::uint8_t> bytes);

// The bytes as characters, with '.' for each that is none of ASCII's printable ones.
std::string charactersOf(std::span<const std::uint8_t> bytes);

// An id as 4 digits.
std::string idText(std::uint16_t id);

// Lines of 16 bytes: offset from `first` on, hexadecimal digits, characters.
std::string dumpOf(std::span<const std::uint8_t> bytes, std::size_t first);

// Whether it is a number of just so many hexadecimal digits, of either case.
bool isHex(const std::string& text, std::size_t digits);

constexpr std::size_t digitsPerLevel = 4;
constexpr std::size_t longestPath = 255 * digitsPerLevel;

// Whether it is a path on the token, from any directory on.
bool isPath(const std::string& text);

std::string lowered(std::string text);

}  // namespace tools
