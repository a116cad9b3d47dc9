#pragma once

#include <string>

#include "include/basic_types.h"

namespace ksigil {
// A result other than 0 in words for an operator, its number behind them.
std::string errorText(u32 rv);
}  // namespace ksigil
