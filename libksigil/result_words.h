#pragma once

#include "include/basic_types.h"

namespace ksigil {

// Why an operation gives that number, where nobody knows more, and what to do. Static, never null.
const char* reasonFor(u32 rv);

}  // namespace ksigil
