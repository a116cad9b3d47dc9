#pragma once

#include <string>

#include "tools/intake.h"
#include "tools/tree.h"

namespace tools {

// Refuses where tar files can be neither written nor read.
void requireTar();

// A tree as a tar file; the same tree gives the same bytes. `name` is for failures.
void writeTar(int descriptor, const std::string& name, const Tree& tree);

// Takes nothing in that is no folder or file.
void readTar(int descriptor, const std::string& name, Intake& intake);

}  // namespace tools
