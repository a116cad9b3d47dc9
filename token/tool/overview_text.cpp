#include "token/tool/overview_text.h"

#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>

#include "token/base/printable.h"
#include "token/image/limits.h"
#include "token/image/object.h"

namespace {

struct Name {
    std::int64_t value;
    const char* name;
};

constexpr Name types[] = {
    {token::typeFile, "file"},
    {token::typeDirectory, "directory"},
    {token::typeKey, "key"},
};

constexpr Name attributes[] = {
    {token::attributePublic, "public"},
    {token::attributePrivate, "private"},
    {token::attributeOneFactor, "one factor"},
    {token::attributeTwoFactor, "two factor"},
};

// A value without a name is damaged, and shown as it stands.
template <std::size_t count>
std::string nameOf(const Name (&names)[count], std::int64_t value) {
    for (const Name& name : names) {
        if (name.value == value) {
            return name.name;
        }
    }
    return std::to_string(value);
}

std::string digitsOf(const token::Buffer& bytes) {
    std::ostringstream text;
    text << std::hex << std::setfill('0');
    for (const std::uint8_t byte : bytes) {
        text << std::setw(2) << unsigned{byte};
    }
    return text.str();
}

bool isBlocked(const token::Overview& overview) {
    return overview.failedLogins >= token::mostFailures;
}

}  // namespace

std::string textOf(const std::string& path, const token::Overview& overview) {
    std::ostringstream text;
    text
        << "Image:         " << token::printable(path) << ", version " << overview.version << '\n'
        << "Serial number: " << digitsOf(overview.serial) << '\n'
        << "In its reader: " << (overview.present ? "yes" : "no") << '\n'
        << "Powered:       " << (overview.powered ? "yes" : "no") << '\n'
        << "Failed logins: " << overview.failedLogins
        << (isBlocked(overview) ? ", the password is blocked" : "") << '\n'
        << (overview.hasLog
                ? "Its log:       stands beside it, and is a part of it: copy both, or use backup\n"
                : "")
        << '\n'
        << std::left;
    for (const token::Overview::Entry& entry : overview.entries) {
        text << std::setw(11) << nameOf(types, entry.type) << std::setw(12)
             << nameOf(attributes, entry.attribute) << std::right << std::setw(5) << entry.size
             << std::left << "  " << entry.path << '\n';
    }
    return text.str();
}

std::string jsonOf(const std::string& path, const token::Overview& overview) {
    nlohmann::ordered_json objects = nlohmann::ordered_json::array();
    for (const token::Overview::Entry& entry : overview.entries) {
        objects.push_back({{"path", entry.path},
                           {"type", nameOf(types, entry.type)},
                           {"attribute", nameOf(attributes, entry.attribute)},
                           {"size", entry.size}});
    }
    const nlohmann::ordered_json all = {
        {"image", path},
        {"version", overview.version},
        {"serial", digitsOf(overview.serial)},
        {"present", overview.present},
        {"powered", overview.powered},
        {"log", overview.hasLog},
        {"failedLogins", overview.failedLogins},
        {"blocked", isBlocked(overview)},
        {"objects", std::move(objects)},
    };
    // A path need not be UTF-8; what is not is replaced.
    return all.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}
