#pragma once

#include <string>

#include "token/care/overview.h"

// An overview for a reader, and for a program. `path` is the image's.
std::string textOf(const std::string& path, const token::Overview& overview);
std::string jsonOf(const std::string& path, const token::Overview& overview);
