#pragma once

#include <iostream>
#include <sstream>
#include <string>

#include "shell/qv_shell.h"

struct ShellRun {
    std::string written;
    int status;
    std::string unread;
};

// The shell in this process.
inline ShellRun runShell(const std::string& input) {
    std::istringstream in(input);
    std::ostringstream out;
    std::streambuf* const keyboard = std::cin.rdbuf(in.rdbuf());
    std::streambuf* const screen = std::cout.rdbuf(out.rdbuf());
    std::cin.clear();
    const int status = QVShell("VDW ifdh 0").run();
    std::cin.rdbuf(keyboard);
    std::cout.rdbuf(screen);
    in.clear();
    return {out.str(), status, input.substr(static_cast<std::size_t>(in.tellg()))};
}
