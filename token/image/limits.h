#pragma once

#include <cstdint>

namespace token {

constexpr std::uint32_t mostChildren = 1024;      // of one directory
constexpr std::uint32_t mostObjects = 4096;       // in all, the root not counted
constexpr std::uint32_t mostBytes = 256U * 1024;  // of sizes in all
constexpr std::uint16_t deepestLevel = 255;       // the most ids that a selection can name

constexpr std::uint32_t mostFailures = 10;  // failed logins in a row; then the password is blocked

}  // namespace token
