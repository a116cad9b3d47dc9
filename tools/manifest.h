#pragma once

#include <string>

#include "tools/tree.h"

namespace tools {

constexpr std::size_t longestManifest = std::size_t{8} * 1024 * 1024;

// The file beside a tree that tells what its files and folders cannot: kinds, attributes, order.
std::string manifestOf(const Tree& tree);

// The tree that it tells of, without contents. Throws Failure for all that is no tree: more items
// than there may be, an item before its directory or twice, a file that is too long.
Tree treeOf(const std::string& manifest);

}  // namespace tools
