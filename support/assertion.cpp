#include "support/assertion.h"

#include <cstdlib>
#include <iostream>
#include <string>

void assertionFailed(const char* expression, const char* file, int line) {
    std::cerr << std::string("Assertion failed: ") + expression + " at file: " + file +
                     " at line: " + std::to_string(line) + "\n"
              << std::flush;
    std::exit(EXIT_FAILURE);
}
