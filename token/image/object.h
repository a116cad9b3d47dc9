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

// The values that an object can have. They are asked of commands, and of an image's rows, in which
// any number may stand.

constexpr bool isType(std::int64_t type) {
    return typeFile <= type && type <= typeKey;
}

constexpr bool isAttributeOf(std::int64_t type, std::int64_t attribute) {
    return type == typeKey ? attribute == attributeOneFactor || attribute == attributeTwoFactor
                           : attribute == attributePublic || attribute == attributePrivate;
}

constexpr bool isSizeOf(std::int64_t type, std::int64_t size) {
    return type == typeFile ? 0 <= size && size <= 0xFFFF : size == (type == typeKey ? keySize : 0);
}

// Whether an object below the root can have the id.
constexpr bool canBeGiven(std::int64_t id) {
    return 0 <= id && id < 0xFFFF && id != rootId && id != 0x3FFF;
}

// Whether the object is created, deleted, read, written and used only by one who is logged in.
constexpr bool needsLogin(std::int64_t attribute) {
    return attribute == attributePrivate || attribute == attributeTwoFactor;
}

using KeyValue = std::array<std::uint8_t, 16>;

// An object of the token's tree. `number` is the image's own: it grows with each creation and is
// never used again. The root is number 0.
struct Object {
    std::int64_t number = 0;
    std::uint16_t id = 0;
    std::uint16_t size = 0;
    std::uint8_t type = 0;
    std::uint8_t attribute = 0;

    bool needsLogin() const { return token::needsLogin(attribute); }
};

constexpr Object rootObject{0, rootId, 0, typeDirectory, attributePublic};

}  // namespace token
