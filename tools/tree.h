#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/text.h"

namespace tools {

constexpr std::size_t mostItems = 4096;  // of a tree off the token

// An object of a tree off the token. Its path is the token's, from the tree's root on: "10000001".
struct Item {
    std::string path;
    std::uint8_t type = 0;
    std::uint8_t attribute = 0;
    std::uint32_t size = 0;  // of a file
    Bytes content;           // of a file
};

// Each directory stands before its children, and these in the token's order.
using Tree = std::vector<Item>;

// The file or folder that stands for an item: "1000/0001"; of a key "1000/0002.key".
std::string nameOf(const Item& item);

constexpr const char* manifestName = "ksigil.json";

}  // namespace tools
