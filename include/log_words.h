#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>

#include "include/basic_types.h"

namespace ksigil {

// The only values that a line of the trace takes: literals, whole 32-bit numbers and token paths.
// Bytes, and texts that a program has read, do not convert to any of them. So nobody puts a
// password, a key or a file's content into the trace by accident.

// A text that is known when the program is compiled.
class LogText {
  public:
    static constexpr std::size_t longest = 64;  // characters

    template <std::size_t N>
    requires(N <= longest + 1) consteval LogText(const char (&literal)[N]) : literal_(literal) {}

    std::string_view text() const { return literal_; }

  private:
    const char* literal_;  // one word, which an operation keeps in a register
};

enum class LogForm { decimal, signedDecimal, hexadecimal };

// A number of exactly 32 unsigned bits; a byte or a character does not convert.
class LogNumber {
  public:
    template <std::same_as<u32> Number>
    LogNumber(Number value) : value_(value) {}

    u32 value() const { return value_; }

  private:
    u32 value_;
};

// A path on the token. Of a text that is not one from the root "3f00", nothing is written. Refers
// to `path`.
class LogPath {
  public:
    explicit LogPath(const std::string& path) : path_(path) {}

    // The path as it was given, empty if it is none.
    std::string_view text() const;

  private:
    std::string_view path_;
};

}  // namespace ksigil
