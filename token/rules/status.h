#pragma once

#include <cstdint>

// The status words that the token answers with.
namespace token::status {

constexpr std::uint16_t good = 0x9000;
constexpr std::uint16_t badParameter = 0x6403;
constexpr std::uint16_t nothingSelected = 0x6404;
constexpr std::uint16_t wrongObject = 0x6405;
constexpr std::uint16_t notEmpty = 0x6406;
constexpr std::uint16_t notFound = 0x6407;
constexpr std::uint16_t badId = 0x6408;
constexpr std::uint16_t noRoom = 0x6409;
constexpr std::uint16_t badSize = 0x640B;
constexpr std::uint16_t noKey = 0x6415;
constexpr std::uint16_t badPasswordSize = 0x6416;
constexpr std::uint16_t imageFailed = 0x6581;
constexpr std::uint16_t unknownCommand = 0x6800;
constexpr std::uint16_t notAllowed = 0x6982;
constexpr std::uint16_t badP1P2 = 0x6A86;
constexpr std::uint16_t badLength = 0x6A87;

}  // namespace token::status
