#pragma once

#include <string>

namespace token {

// Backs up the image at a real path, also while it is in use, to a new file with mode 0600, which
// gets its name when it is complete, checked and on the disk. Throws Fault, and has then made
// nothing.
void backUp(const std::string& path, const std::string& file);

}  // namespace token
