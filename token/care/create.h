#pragma once

#include <string>

namespace token {

// Makes a fresh image at the real path, under the locks of those who connect to one. Throws Fault,
// also where there is any file, and has then made no image.
void createImage(const std::string& path);

}  // namespace token
