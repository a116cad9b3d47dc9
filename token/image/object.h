#pragma once

#include <array>
#include <cstdint>

namespace token {

constexpr std::uint8_t typeFile = 1;
constexpr std::uint8_t typeDirectory = 2;
constexpr std::uint8_t typeKey = 3;

constexpr std::uint8_t attributePublic = 0;
constexpr std::uint8_t attributePrivate = 1;
constexpr std::uint8_t attributeOneFactor = 2;
constexpr std::uint8_t attributeTwoFactor = 3;

constexpr std::uint16_t rootId = 0x3F00;
constexpr std::uint16_t keySize = 24;  // what a key counts, and reports as its size

using KeyValue = std::array<std::uint8_t, 16>;

// An object of the token's tree. `number` is the image's own: it grows with each creation and is
// never used again. The root is number 0.
struct Object {
    std::int64_t number = 0;
    std::uint16_t id = 0;
    std::uint16_t size = 0;
    std::uint8_t type = 0;
    std::uint8_t attribute = 0;

    // Created, deleted, read, written and used by one who is logged in only.
    bool needsLogin() const {
        return attribute == attributePrivate || attribute == attributeTwoFactor;
    }
};

constexpr Object rootObject{0, rootId, 0, typeDirectory, attributePublic};

}  // namespace token
