#pragma once

#include "include/basic_types.h"

// The numbers by which operations report. 0 is success, 0xE006xxxx the token's status word xxxx;
// all others are PC/SC or system errors, passed up unchanged.
namespace ksigil::result {

constexpr u32 success = 0;
constexpr u32 notEnoughMemory = 0x8;         // ERROR_NOT_ENOUGH_MEMORY: no free directory id
constexpr u32 invalidParameter = 0x57;       // ERROR_INVALID_PARAMETER: key length, unknown entry
constexpr u32 fail = 0x80004005;             // E_FAIL: the talker has no table
constexpr u32 outOfMemory = 0x8007000E;      // E_OUTOFMEMORY: all reader contexts in use
constexpr u32 invalidArgument = 0x80070057;  // E_INVALIDARG: a bad argument found on the host
constexpr u32 communicationError = 0x80100013;  // SCARD_F_COMM_ERROR: a reply that cannot be right
constexpr u32 protectorAbsent = 0xE0130001;     // no protector on the token, and none to be made
constexpr u32 statusWordBase = 0xE0060000;

// True for a number that carries a status word of the token in its low 16 bits.
constexpr bool isStatusWord(u32 rv) {
    return ((rv >> 16) & 0x1FFF) == 6;
}

}  // namespace ksigil::result
