#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <string>

// What a command of the shell writes, with '/' for a line break, and its exit status.
inline std::string run(const std::string& command) {
    FILE* const output = popen(command.c_str(), "r");
    std::string written;
    for (int c = std::getc(output); c != EOF; c = std::getc(output)) {
        written += static_cast<char>(c == '\n' ? '/' : c);
    }
    return written + std::to_string(WEXITSTATUS(pclose(output)));
}
