#pragma once

#include <cstddef>
#include <cstring>
#include <vector>

#include "include/basic_types.h"
#include "include/ksigil.h"
#include "libksigil/reason.h"

namespace ksigil {

// The end of the ranges that a frame can name, in bytes.
inline constexpr std::size_t largestRange = KSIGIL_MAX_FILE_SIZE;

inline constexpr std::size_t longestPath = std::size_t{255} * 4;  // characters

// Whether an array argument can be there: null only for no elements.
inline bool isBuffer(const void* elements, std::size_t count) {
    return elements != nullptr || count == 0;
}

// Whether a range of a file can be named.
inline bool isRange(std::size_t offset, std::size_t length) {
    return offset <= largestRange && length <= largestRange - offset;
}

// Whether it is a text of 1 to 255 levels of 4 hexadecimal digits. Reads no further than those.
inline bool isPath(const char* path) {
    constexpr std::size_t digitsPerLevel = 4;
    std::size_t length = 0;
    while (path != nullptr && length <= longestPath && path[length] != '\0' &&
           std::strchr("0123456789abcdefABCDEF", path[length]) != nullptr) {
        ++length;
    }
    return length != 0 && length <= longestPath && length % digitsPerLevel == 0 &&
           path[length] == '\0';
}

// 0, or the result for what is no path.
inline u32 checkPath(const char* path) {
    return isPath(path) ? KSIGIL_OK
                        : withReason(KSIGIL_INVALID_ARGUMENT,
                                     "a path is 4 hexadecimal digits for each level, from 3f00 on");
}

// 0, or the result for a range of a file that cannot be named.
inline u32 checkRange(std::size_t offset, std::size_t length) {
    return isRange(offset, length)
               ? KSIGIL_OK
               : withReason(KSIGIL_INVALID_ARGUMENT, "offset and length reach beyond byte 65535");
}

// Throws std::bad_alloc.
inline std::vector<u8> bytesOf(const u8* bytes, std::size_t length) {
    return length == 0 ? std::vector<u8>() : std::vector<u8>(bytes, bytes + length);
}

}  // namespace ksigil
