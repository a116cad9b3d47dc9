#include "tools/manifest.h"

#include <nlohmann/json.hpp>
#include <set>

#include "include/ksigil.h"
#include "tools/failure.h"
#include "tools/names.h"

namespace tools {
namespace {

using Json = nlohmann::ordered_json;

constexpr int version = 1;
constexpr int deepest = 3;  // the whole, its objects, one of them

bool isAttributeOf(std::uint8_t type, std::uint8_t attribute) {
    const bool isFactor = attribute == KSIGIL_ONE_FACTOR || attribute == KSIGIL_TWO_FACTOR;
    return isFactor == (type == KSIGIL_KEY);
}

// A number that has no fraction and fits; else a negative one.
std::int64_t numberOf(const Json& number) {
    return number.is_number_integer() ? number.get<std::int64_t>() : -1;
}

Item itemOf(const Json& object) {
    Item item;
    item.path = lowered(object.at("path").get<std::string>());
    const auto type = typeNamed(object.at("type").get<std::string>());
    const auto attribute = attributeNamed(object.at("attribute").get<std::string>());
    const std::int64_t size = numberOf(object.at("size"));
    const bool isBelowRoot = isPath(item.path) && item.path.size() < longestPath;
    if (!isBelowRoot || !type || !attribute || !isAttributeOf(*type, *attribute) || size < 0 ||
        size > (*type == KSIGIL_FILE ? KSIGIL_MAX_FILE_SIZE : 0)) {
        throw Failure("an object of the tree's ksigil.json is none: " + item.path);
    }
    item.type = *type;
    item.attribute = *attribute;
    item.size = static_cast<std::uint32_t>(size);
    return item;
}

// Each item's directory has to stand before it.
void requireOrder(const Tree& tree) {
    std::set<std::string> all;
    std::set<std::string> directories{""};
    for (const Item& item : tree) {
        const std::string parent = item.path.substr(0, item.path.size() - 4);
        if (!directories.contains(parent) || !all.insert(item.path).second) {
            throw Failure("the tree's ksigil.json has " + item.path +
                          " twice, or before its directory");
        }
        if (item.type == KSIGIL_DIRECTORY) {
            directories.insert(item.path);
        }
    }
}

// A text that nests without end would nest the parser's memory, too; and of a name that is there
// twice the parser would take either.
Json parsed(const std::string& manifest) {
    std::vector<std::set<std::string>> names;  // of the objects that are open
    return Json::parse(manifest, [&](int depth, Json::parse_event_t event, const Json& part) {
        if (depth > deepest) {
            throw Failure("the tree's ksigil.json is nested too deep");
        }
        if (event == Json::parse_event_t::object_start) {
            names.emplace_back();
        } else if (event == Json::parse_event_t::object_end) {
            names.pop_back();
        } else if (event == Json::parse_event_t::key && !names.back().insert(part).second) {
            throw Failure("the tree's ksigil.json has a name twice in one object: " +
                          part.get<std::string>());
        }
        return true;
    });
}

}  // namespace

std::string manifestOf(const Tree& tree) {
    Json objects = Json::array();
    for (const Item& item : tree) {
        objects.push_back({{"path", item.path},
                           {"type", typeName(item.type)},
                           {"attribute", attributeName(item.attribute)},
                           {"size", item.size}});
    }
    return Json{{"version", version}, {"objects", std::move(objects)}}.dump(1) + "\n";
}

Tree treeOf(const std::string& manifest) {
    Tree tree;
    try {
        const Json all = parsed(manifest);
        if (numberOf(all.at("version")) != version) {
            throw Failure("the tree's ksigil.json is of another version than 1");
        }
        const Json& objects = all.at("objects");
        if (!objects.is_array() || objects.size() > mostItems) {
            throw Failure("the tree's ksigil.json has more than 4096 objects, or none");
        }
        for (const Json& object : objects) {
            tree.push_back(itemOf(object));
        }
    } catch (const Json::exception& error) {
        throw Failure(std::string("the tree's ksigil.json is none: ") + error.what());
    }
    requireOrder(tree);
    return tree;
}

}  // namespace tools
