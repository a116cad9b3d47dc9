#pragma once

#include <cstddef>
#include <cstring>
#include <vector>

#include "include/basic_types.h"
#include "include/ksigil.h"

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

// Whether it is a text of at most 255 levels; its digits are for the services to judge.
inline bool isPath(const char* path) {
    return path != nullptr && std::memchr(path, '\0', longestPath + 1) != nullptr;
}

// Throws std::bad_alloc.
inline std::vector<u8> bytesOf(const u8* bytes, std::size_t length) {
    return length == 0 ? std::vector<u8>() : std::vector<u8>(bytes, bytes + length);
}

}  // namespace ksigil
