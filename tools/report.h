#pragma once

#include <optional>
#include <string>
#include <vector>

#include "include/ksigil.h"
#include "tools/text.h"

namespace tools {

struct ObjectLine {
    std::string path;
    ksigil_object object{};
    const char* done = nullptr;  // what was done with it, in a word; null: it is only told of
};

struct EntryLine {
    ksigil_entry entry{};
    const char* done = nullptr;
};

// What a command tells on standard output: what it has no members for, it does not tell.
struct Report {
    enum class Style { silent, names, kinds, tree, treeOfKinds, details, done };

    std::optional<std::vector<ksigil_reader>> readers;
    std::optional<ksigil_token_info> token;
    std::optional<std::vector<ObjectLine>> objects;
    std::optional<std::vector<EntryLine>> entries;
    std::optional<Bytes> content;  // in JSON only: else it is no text
    Style style = Style::silent;   // of the objects, in text

    void add(const std::string& path, const ksigil_object& object, const char* done = nullptr);
    void add(const ksigil_entry& entry, const char* done = nullptr);
};

std::string textOf(const Report& report);
std::string jsonOf(const Report& report);

}  // namespace tools
