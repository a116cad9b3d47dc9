#pragma once

#include <string>

#include "tools/commands.h"
#include "tools/options.h"

namespace tools {

struct CommandLine {
    Options options;
    Command command = nullptr;  // null: there is only `text` to tell
    std::string text;           // the help or the version
};

// Throws Misuse.
CommandLine parse(int argc, const char* const* argv);

}  // namespace tools
