#pragma once

#include <optional>
#include <string>

#include "shell/terminal/editor.h"
#include "shell/terminal/token_look.h"
#include "shell/terminal/words.h"

namespace ksigil {

// The possible endings of the text before the cursor: words, keywords, and paths of the token's own
// tree if `mayAsk`.
Completion completionOf(const std::string& before, TokenLook& look, bool mayAsk);

}  // namespace ksigil
