#pragma once

#include <string>

#include "tools/intake.h"
#include "tools/tree.h"

namespace tools {

// Refuses a destination that has something in it.
void requireNewFolder(const std::string& name);

// Makes the folder whole or not at all; its files have mode 0600, its folders 0700.
void writeFolder(const std::string& name, const Tree& tree);

// Takes nothing in that is no folder or file, or has a second name.
void readFolder(const std::string& name, Intake& intake);

}  // namespace tools
