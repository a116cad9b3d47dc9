#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace token {

constexpr std::int64_t imageApplicationId = 0x6B536967;  // "kSig"
constexpr std::int64_t imageVersion = 4;
constexpr std::uint8_t writeAheadMode = 2;  // the database's number for an image's journal mode

// In bytes. An image at all its limits is far shorter.
constexpr std::size_t longestImage = std::size_t{8} << 20;

constexpr std::size_t serialLength = 8;

// A file's bytes stand in pages, so that a frame costs its own bytes and not the file's. The pages
// of an object are rows that follow each other, from its first page on.
constexpr std::int64_t pageLength = 1024;
constexpr std::int64_t pagesAnObject = 64;
static_assert(pageLength * pagesAnObject >= 0xFFFF);

constexpr std::int64_t largestObjectNumber = INT64_MAX / pagesAnObject - 1;

constexpr std::int64_t firstPageOf(std::int64_t objectNumber) {
    return objectNumber * pagesAnObject;
}

constexpr std::int64_t pageCountOf(std::int64_t size) {
    return (size + pageLength - 1) / pageLength;
}

// How many bytes the page with this index has in a file of this size.
constexpr std::int64_t pageBytesOf(std::int64_t size, std::int64_t index) {
    return std::min(pageLength, size - index * pageLength);
}

}  // namespace token
