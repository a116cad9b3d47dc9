#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/session.h"

namespace tools {

constexpr const char* rootPath = "3f00";
constexpr std::size_t mostNodes = 65536;  // more than any token has: a tree that grows is given up

// An object, with its whole path on the token.
struct Node {
    std::string path;
    ksigil_object object{};
};

// What is at the path and below it, each directory before its children, these in the token's order.
std::vector<Node> walk(Session& session, const std::string& path, std::size_t most = mostNodes);

}  // namespace tools
