#pragma once

#include <cstdint>

namespace token {

constexpr std::int64_t imageApplicationId = 0x6B536967;  // "kSig"
constexpr std::int64_t imageVersion = 1;

// A file's bytes stand in pages, so that a frame costs its own bytes and not the file's. The page
// with index i of object n is the row n * pagesAnObject + i.
constexpr std::int64_t pageLength = 1024;
constexpr std::int64_t pagesAnObject = 64;
static_assert(pageLength * pagesAnObject >= 0xFFFF);

}  // namespace token
