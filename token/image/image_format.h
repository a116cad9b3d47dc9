#pragma once

#include <cstddef>
#include <cstdint>

namespace token {

constexpr std::int64_t imageApplicationId = 0x6B536967;  // "kSig"
constexpr std::int64_t imageVersion = 3;
constexpr std::int64_t unsealedVersion = 1;  // private content in clear; sealed at the next login
constexpr std::int64_t unsweptVersion = 2;   // sealed, but unused parts may hold what was in clear

constexpr std::size_t serialLength = 8;

// A file's bytes stand in pages, so that a frame costs its own bytes and not the file's. The page
// with index i of object n is the row n * pagesAnObject + i.
constexpr std::int64_t pageLength = 1024;
constexpr std::int64_t pagesAnObject = 64;
static_assert(pageLength * pagesAnObject >= 0xFFFF);

}  // namespace token
