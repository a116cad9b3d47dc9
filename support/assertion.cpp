#include "support/assertion.h"

#include <cstdlib>
#include <iostream>
#include <string>

#include "platform/win32.h"

namespace {

bool (*gate)() = nullptr;

}  // namespace

ksigil::AssertionGate::AssertionGate(bool (*logEnabled)()) {
    gate = logEnabled;
}

void assertionFailed(const char* expression, const char* file, int line) {
    const std::string report = std::string("Assertion failed: ") + expression +
                               " at file: " + file + " at line: " + std::to_string(line);
    std::cerr << report + "\n" << std::flush;
    if (gate != nullptr && gate()) {
        OutputDebugStringA((report + "\n\n").c_str());
    }
    std::exit(EXIT_FAILURE);
}
