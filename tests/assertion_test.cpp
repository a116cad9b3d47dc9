#include "support/assertion.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace {

TEST(Assertion, AsksTheGateBehindItsLineAndRunsExitHandlers) {
    const ksigil::AssertionGate gate([] { return std::fputs("asked", stderr) < 0; });
    const auto fail = [] {
        std::atexit([] { std::fputs(", ended", stderr); });
        assertionFailed("x", "f", 71);
    };
    EXPECT_EXIT(fail(), testing::ExitedWithCode(1),
                "^Assertion failed: x at file: f at line: 71\nasked, ended$");
}

}  // namespace
