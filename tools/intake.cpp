#include "tools/intake.h"

#include <utility>

#include "include/ksigil.h"
#include "tools/failure.h"
#include "tools/manifest.h"

namespace tools {
namespace {

constexpr std::string_view keyEnding = ".key";

// Names of 4 digits with '/' between; a file's last one may be that of a key.
bool isName(std::string_view name, bool isDirectory) {
    if (!isDirectory && name.ends_with(keyEnding)) {
        name.remove_suffix(keyEnding.size());
    }
    for (std::size_t at = 0; at < name.size(); ++at) {
        const bool isRight = at % 5 == 4 ? name[at] == '/' : isHex(std::string(1, name[at]), 1);
        if (!isRight) {
            return false;
        }
    }
    return name.size() % 5 == 4;
}

[[noreturn]] void refuse(const std::string& name) {
    throw Failure("\"" + name + "\" is no name that an exported tree has");
}

}  // namespace

void Intake::add(const std::string& name, Found found) {
    if (!isName(name, found.isDirectory)) {
        refuse(name);
    }
    if (found_.size() == mostItems) {
        throw Failure("the tree has more than 4096 objects");
    }
    if (!found_.emplace(lowered(name), std::move(found)).second) {
        throw Failure(name + " is there twice");
    }
}

void Intake::addDirectory(const std::string& name) {
    add(name, {true, {}});
}

std::size_t Intake::longest(const std::string& name) {
    if (name == manifestName) {
        return longestManifest;
    }
    if (!isName(name, false)) {
        refuse(name);
    }
    return name.ends_with(keyEnding) ? 0 : KSIGIL_MAX_FILE_SIZE;
}

void Intake::addFile(const std::string& name, Bytes content) {
    if (name != manifestName) {
        add(name, {false, std::move(content)});
        return;
    }
    if (manifest_) {
        throw Failure(name + " is there twice");
    }
    manifest_.emplace(content.begin(), content.end());
}

Tree Intake::finish() {
    if (!manifest_) {
        throw Failure("there is no ksigil.json: it is not what export makes");
    }
    Tree tree = treeOf(*manifest_);
    for (Item& item : tree) {
        const auto found = found_.find(nameOf(item));
        if (found == found_.end() || found->second.isDirectory != (item.type == KSIGIL_DIRECTORY) ||
            found->second.content.size() != item.size) {
            throw Failure(nameOf(item) + " is missing, or not as the tree's ksigil.json has it");
        }
        item.content = std::move(found->second.content);
        found_.erase(found);
    }
    if (!found_.empty()) {
        throw Failure(found_.begin()->first + " is not in the tree's ksigil.json");
    }
    return tree;
}

}  // namespace tools
