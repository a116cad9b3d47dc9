#pragma once

#include "include/basic_types.h"

// The status words that the host acts on; all others it only shows.
namespace ksigil::status {

constexpr u16 success = 0x9000;
constexpr u16 pathNotFound = 0x6407;
constexpr u16 notEnoughMemory = 0x6409;

}  // namespace ksigil::status

// The text of a status word, "No error code." for an unknown one. Static, never null.
const char* statusMessage(u16 status);
