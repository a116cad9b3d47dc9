#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tools {

// The words for an object's type and attribute; "unknown" for a value that has none.
const char* typeName(std::uint8_t type);
const char* attributeName(std::uint8_t attribute);

// The values of words; nothing for a word that is none.
std::optional<std::uint8_t> typeNamed(std::string_view name);
std::optional<std::uint8_t> attributeNamed(std::string_view name);

// Whether what has the attribute is made, changed and removed only by who is logged in.
bool needsLogin(std::uint8_t attribute);

// False for the ids that no object below the root has.
bool canBeGiven(std::uint16_t id);

}  // namespace tools
