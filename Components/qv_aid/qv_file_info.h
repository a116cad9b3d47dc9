#pragma once

#include <string>

#include "include/basic_types.h"

// The record of one object of the token, as its selection reports it.
struct QVFileInfo {
    static constexpr u8 typeBinaryFile = 1;
    static constexpr u8 typeDirectory = 2;
    static constexpr u8 typeKey = 3;

    static constexpr u8 attributePublic = 0;
    static constexpr u8 attributePrivate = 1;
    static constexpr u8 attributeOneFactor = 2;  // of a key, as the next
    static constexpr u8 attributeTwoFactor = 3;

    std::string name;  // the last 4 digits of the selected path, as they were given
    u8 attribute = 0;
    u8 type = 0;
    u32 size = 0;  // bytes

    bool isDirectory() const { return type == typeDirectory; }
    bool isPrivate() const { return attribute == attributePrivate; }
};
