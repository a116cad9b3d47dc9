#pragma once

#include <string>

namespace token {

// Makes a fresh image at the real path, with mode 0600 and the password "1234": whole or not at
// all, and never in place of another file. The caller keeps other makers out. Throws Fault.
void makeImage(const std::string& path);

}  // namespace token
