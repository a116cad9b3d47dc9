#include "tools/failure.h"

#include <cstdio>
#include <iostream>
#include <system_error>

#include "include/ksigil.h"
#include "tools/text.h"

namespace tools {
namespace {

std::string withNumber(std::uint32_t result) {
    char digits[16];
    std::snprintf(digits, sizeof digits, " (0x%08x)", unsigned{result});
    return digits;
}

std::string whyOf(std::uint32_t result) {
    std::string why = result == KSIGIL_CANCELLED ? "ended by a signal" : ksigil_reason();
    if (why.ends_with('.')) {
        why.pop_back();
    }
    return why + withNumber(result);
}

}  // namespace

Failure::Failure(const std::string& line) : Failure(line, 0, 0) {}

Failure::Failure(const std::string& what, std::uint32_t result)
    : Failure(what + ": " + whyOf(result), result, 0) {}

Failure::Failure(const std::string& line, std::uint32_t result, int)
    : runtime_error(printable(line)), result_(result) {}

Failure Failure::ofSystem(const std::string& what, int number) {
    return Failure(what + ": " + std::generic_category().message(number) + " (" +
                   std::to_string(number) + ")");
}

Failure Failure::with(const std::string& sentence) const {
    return {what() + ("; " + sentence), result_, 0};
}

void tellAside(const std::string& line) {
    std::cerr << "ksigil: " << printable(line) << std::endl;
}

}  // namespace tools
