#pragma once

#include <string>

namespace token {

// Makes a token with a fresh image at the real path, while nobody connects to it. Throws Fault,
// also where there is any file, and has then made no image.
void createToken(const std::string& path);

}  // namespace token
