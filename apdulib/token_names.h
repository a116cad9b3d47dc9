#pragma once

#include "include/basic_types.h"

// Names for values by which a token describes itself. Static texts, never null; a value without a
// name gives "Undefined".

// The colour of the token's case; codes 0 to 8 have names.
const char* colourName(u8 code);

namespace ksigil {
// A package that the token may hold; indexes 0 to 13 have names.
const char* packageName(u32 index);
}  // namespace ksigil
