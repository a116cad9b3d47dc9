#include "tools/names.h"

#include <algorithm>
#include <iterator>

#include "include/ksigil.h"

namespace tools {
namespace {

struct Name {
    std::uint8_t value;
    const char* name;
};

constexpr Name types[] = {
    {KSIGIL_FILE, "file"},
    {KSIGIL_DIRECTORY, "directory"},
    {KSIGIL_KEY, "key"},
};

constexpr Name attributes[] = {
    {KSIGIL_PUBLIC, "public"},
    {KSIGIL_PRIVATE, "private"},
    {KSIGIL_ONE_FACTOR, "one-factor"},
    {KSIGIL_TWO_FACTOR, "two-factor"},
};

template <std::size_t count>
const char* nameOf(const Name (&names)[count], std::uint8_t value) {
    const auto* const found = std::find_if(std::begin(names), std::end(names),
                                           [=](const Name& one) { return one.value == value; });
    return found == std::end(names) ? "unknown" : found->name;
}

template <std::size_t count>
std::optional<std::uint8_t> valueOf(const Name (&names)[count], std::string_view name) {
    const auto* const found = std::find_if(std::begin(names), std::end(names),
                                           [=](const Name& one) { return one.name == name; });
    return found == std::end(names) ? std::nullopt : std::optional(found->value);
}

}  // namespace

const char* typeName(std::uint8_t type) {
    return nameOf(types, type);
}

const char* attributeName(std::uint8_t attribute) {
    return nameOf(attributes, attribute);
}

std::optional<std::uint8_t> typeNamed(std::string_view name) {
    return valueOf(types, name);
}

std::optional<std::uint8_t> attributeNamed(std::string_view name) {
    return valueOf(attributes, name);
}

bool needsLogin(std::uint8_t attribute) {
    return attribute == KSIGIL_PRIVATE || attribute == KSIGIL_TWO_FACTOR;
}

bool canBeGiven(std::uint16_t id) {
    return id != 0x3F00 && id != 0x3FFF && id != 0xFFFF;
}

}  // namespace tools
