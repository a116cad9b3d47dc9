#pragma once

#include <span>
#include <string>

#include "tools/tree.h"

namespace tools {

// Where a tree goes off the token, as folders and files. Both throw Failure.
class Outlet {
  public:
    virtual void addFolder(const std::string& name) = 0;
    virtual void addFile(const std::string& name, std::span<const std::uint8_t> content) = 0;

  protected:
    ~Outlet() = default;
};

// Puts the manifest first, then each item behind its directory.
void putTree(const Tree& tree, Outlet& outlet);

}  // namespace tools
