#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "shell/terminal/words.h"

namespace ksigil {

// One command of a line, as the shell will take it from the stream.
struct Command {
    std::string name;
    const Word* word = nullptr;          // null: the shell will not know it
    std::vector<std::string> arguments;  // those that are on the line
    std::optional<Kind> lacking;         // the first that is not
    std::size_t begin = 0;               // its characters in the line
    std::size_t end = 0;
    std::size_t keptEnd = 0;  // of those that may stand in a history
    // A number that could not be read stopped it. The shell must find the next character in the
    // stream, and the next command begins there.
    bool isCutShort = false;
};

// Takes the line apart by the rules of the shell's formatted reads: a number ends before the first
// character that cannot continue it, and the next word begins there; after a number that fails,
// nothing more of the command is read. Only the last command can lack arguments.
std::vector<Command> commandsOf(const std::string& line);

// The line without what no history may hold: it ends where the first password, key or data could
// begin, or at a word that is no command. Such a word is kept if it is one letter off a command's.
std::string keptOf(const std::string& line);

}  // namespace ksigil
