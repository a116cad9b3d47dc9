#include "shell/terminal/terminal.h"

// Where the line editor is not built in, nothing ever stands before the shell.

namespace ksigil {

struct Terminal::Inside {};

Terminal::Terminal() = default;
Terminal::~Terminal() = default;

}  // namespace ksigil
