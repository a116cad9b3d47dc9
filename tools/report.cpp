#include "tools/report.h"

#include <cstdio>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>
#include <utility>

#include "tools/names.h"

namespace tools {
namespace {

using Json = nlohmann::ordered_json;

constexpr unsigned int packageBits = 16;

std::string versionText(std::uint16_t version) {
    return std::to_string(version >> 8) + "." + std::to_string(version & 0xFF);
}

std::vector<std::string> packagesOf(const ksigil_token_info& token) {
    std::vector<std::string> names;
    for (unsigned int bit = 0; bit < packageBits; ++bit) {
        if ((token.packages >> bit & 1U) != 0) {
            names.emplace_back(ksigil_package_name(bit));
        }
    }
    return names;
}

std::string idOf(const ksigil_entry& entry) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%08x", unsigned{entry.id});
    return digits;
}

std::string nameOf(const ObjectLine& line) {
    return line.path.substr(line.path.size() - digitsPerLevel);
}

void writeToken(std::ostream& text, const ksigil_token_info& token) {
    text << "Serial number: " << hexOf(token.serial)
         << "\nVersion:       " << versionText(token.version)
         << "\nColour:        " << ksigil_colour_name(token.colour) << "\nPackages:      ";
    const char* separator = "";
    for (const std::string& name : packagesOf(token)) {
        text << std::exchange(separator, ", ") << name;
    }
    text << "\nBytes in use:  " << token.bytes_used << " of " << token.bytes_total << '\n';
}

void writeEntry(std::ostream& text, const EntryLine& line) {
    if (line.done != nullptr) {
        text << "application entry " << idOf(line.entry) << ": " << line.done << '\n';
        return;
    }
    const auto& content = line.entry.content;
    text << idOf(line.entry) << "  " << hexOf(content) << "  " << charactersOf(content) << '\n';
}

void writeDetails(std::ostream& text, const ObjectLine& line) {
    text << "Path:      " << line.path << "\nType:      " << typeName(line.object.type)
         << "\nAttribute: " << attributeName(line.object.attribute)
         << "\nSize:      " << line.object.size << '\n';
}

void writeKind(std::ostream& text, const ksigil_object& object) {
    text << std::left << std::setw(10) << typeName(object.type) << std::setw(11)
         << attributeName(object.attribute) << std::right << std::setw(5) << object.size << "  ";
}

// The rules in front of a name, one for each level; `isOpen` tells of each whether more comes in
// it.
std::string rulesOf(const std::vector<bool>& isOpen) {
    std::string rules;
    for (std::size_t level = 1; level < isOpen.size(); ++level) {
        const bool isLast = level + 1 == isOpen.size();
        const char* const open = isLast ? "|-- " : "|   ";
        const char* const closed = isLast ? "`-- " : "    ";
        rules += isOpen[level] ? open : closed;
    }
    return rules;
}

// From the end: whether more comes in a level is seen only behind it.
std::vector<std::string> rulesOf(const std::vector<ObjectLine>& lines) {
    std::vector<std::string> rules(lines.size());
    std::vector<bool> isOpen;
    for (std::size_t i = lines.size(); i-- > 0;) {
        const std::size_t level = (lines[i].path.size() - lines[0].path.size()) / digitsPerLevel;
        isOpen.resize(level + 1, false);
        rules[i] = rulesOf(isOpen);
        isOpen[level] = true;
    }
    return rules;
}

void writeTree(std::ostream& text, const std::vector<ObjectLine>& lines, bool withKinds) {
    const std::vector<std::string> rules = rulesOf(lines);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (withKinds) {
            writeKind(text, lines[i].object);
        }
        text << rules[i] << (i == 0 ? lines[i].path : nameOf(lines[i])) << '\n';
    }
}

void writeObjects(std::ostream& text, const std::vector<ObjectLine>& lines, Report::Style style) {
    using Style = Report::Style;
    if (style == Style::tree || style == Style::treeOfKinds) {
        writeTree(text, lines, style == Style::treeOfKinds);
        return;
    }
    for (const ObjectLine& line : lines) {
        if (style == Style::details) {
            writeDetails(text, line);
        } else if (style == Style::done) {
            text << line.path << ' ' << typeName(line.object.type) << ": " << line.done << '\n';
        } else if (style != Style::silent) {
            if (style == Style::kinds) {
                writeKind(text, line.object);
            }
            text << nameOf(line) << '\n';
        }
    }
}

Json jsonOf(const ObjectLine& line) {
    Json object = {{"path", line.path},
                   {"type", typeName(line.object.type)},
                   {"attribute", attributeName(line.object.attribute)},
                   {"size", line.object.size}};
    if (line.done != nullptr) {
        object["done"] = line.done;
    }
    return object;
}

Json jsonOf(const EntryLine& line) {
    Json entry = {{"id", idOf(line.entry)}, {"content", hexOf(line.entry.content)}};
    if (line.done != nullptr) {
        entry["done"] = line.done;
    }
    return entry;
}

Json jsonOf(const ksigil_reader& reader) {
    return {{"name", reader.name}, {"token", reader.has_token != 0}};
}

Json jsonOf(const ksigil_token_info& token) {
    return {{"serial", hexOf(token.serial)},
            {"version", versionText(token.version)},
            {"colour", ksigil_colour_name(token.colour)},
            {"packages", packagesOf(token)},
            {"bytesUsed", token.bytes_used},
            {"bytesTotal", token.bytes_total}};
}

template <typename Line>
void put(Json& all, const char* name, const std::optional<std::vector<Line>>& lines) {
    if (lines) {
        Json array = Json::array();
        for (const Line& line : *lines) {
            array.push_back(jsonOf(line));
        }
        all[name] = std::move(array);
    }
}

}  // namespace

void Report::add(const std::string& path, const ksigil_object& object, const char* done) {
    if (!objects) {
        objects.emplace();
    }
    objects->push_back({path, object, done});
}

void Report::add(const ksigil_entry& entry, const char* done) {
    if (!entries) {
        entries.emplace();
    }
    entries->push_back({entry, done});
}

std::string textOf(const Report& report) {
    std::ostringstream text;
    if (report.readers) {
        for (const ksigil_reader& reader : *report.readers) {
            text << printable(reader.name)
                 << (reader.has_token != 0 ? ": token\n" : ": no token\n");
        }
    }
    if (report.token) {
        writeToken(text, *report.token);
    }
    if (report.entries && report.style != Report::Style::silent) {
        for (const EntryLine& line : *report.entries) {
            writeEntry(text, line);
        }
    }
    if (report.objects) {
        writeObjects(text, *report.objects, report.style);
    }
    return text.str();
}

std::string jsonOf(const Report& report) {
    Json all = Json::object();
    put(all, "readers", report.readers);
    if (report.token) {
        all["token"] = jsonOf(*report.token);
    }
    put(all, "objects", report.objects);
    put(all, "entries", report.entries);
    if (report.content) {
        all["content"] = hexOf(*report.content);
    }
    // A reader's name need not be UTF-8; what is not is replaced.
    return all.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace tools
