#pragma once

#include <string>

namespace token {

// Throws Fault if there is anything of that name, a link that leads nowhere too.
void needNothingAt(const std::string& path);

}  // namespace token
