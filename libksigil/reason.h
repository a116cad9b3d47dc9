#pragma once

#include <string_view>

#include "include/basic_types.h"

namespace ksigil {

// Keeps why the calling thread's call failed: `why`, or if that is empty what is known of the
// number. Gives the number back. Of a success it keeps nothing.
u32 withReason(u32 rv, std::string_view why = {}) noexcept;

// Keeps more than its number tells of a failure inside an operation, which ends with `rv`: a static
// text. Gives the number back.
u32 because(u32 rv, const char* why) noexcept;

}  // namespace ksigil
