#pragma once

#include <string>

namespace token {

// Copies the image at a real path, also while it is in use, into the empty file at `target`, as one
// state of it, and checks the copy. Throws Fault, for a damaged image too.
void copyImage(const std::string& path, const std::string& target);

}  // namespace token
