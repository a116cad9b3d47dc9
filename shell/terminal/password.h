#pragma once

#include <optional>
#include <string>

#include "shell/terminal/keys.h"

namespace ksigil {

// Asks for a password, which nothing shows and no buffer of the editor sees. Nothing if the
// operator gave it up, or typed one that the shell's words cannot hold; then a line on standard
// error says why.
std::optional<std::string> askPassword(Keys& keys, const std::string& name);

// The same twice, for a new one.
std::optional<std::string> askNewPassword(Keys& keys, const std::string& name);

// Overwrites what was a password.
void wipe(std::string& text);

}  // namespace ksigil
