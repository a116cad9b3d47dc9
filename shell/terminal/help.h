#pragma once

#include <string>

namespace ksigil {

// All words with their usage, a line each.
void printHelp();

// The usage of a command that was given up, on standard error.
void tellUsage(const std::string& word);

// Names the nearest word to one that the shell does not know, on standard error.
void tellNearest(const std::string& word);

}  // namespace ksigil
