#pragma once

#include <string>

namespace ksigil {

// Both between wide characters and UTF-8, which LC_CTYPE has.
std::string utf8Of(const std::wstring& characters);

// False unless the bytes are UTF-8 without control characters.
bool charactersOf(const std::string& bytes, std::wstring& characters);

}  // namespace ksigil
