#include "support/assertion.h"

#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>

#include "platform/win32.h"

namespace {

bool (*gate)() = nullptr;
bool isThrown = false;

}  // namespace

ksigil::AssertionGate::AssertionGate(bool (*logEnabled)()) {
    gate = logEnabled;
}

ksigil::AssertionsThrow::AssertionsThrow() {
    isThrown = true;
}

void assertionFailed(const char* expression, const char* file, int line) {
    const std::string report = std::string("Assertion failed: ") + expression +
                               " at file: " + file + " at line: " + std::to_string(line);
    if (isThrown) {
        throw std::logic_error(report);
    }
    std::cerr << report + "\n" << std::flush;
    if (gate != nullptr && gate()) {
        OutputDebugStringA((report + "\n\n").c_str());
    }
    std::exit(EXIT_FAILURE);
}
