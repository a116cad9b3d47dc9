#include "token/image/image_place.h"

#include <cstdlib>
#include <filesystem>

#include "token/base/fault.h"
#include "token/base/system.h"
#include "token/image/new_file.h"

namespace token {
namespace {

namespace fs = std::filesystem;

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

void makeFolders(const fs::path& folder) {
    if (folder.empty() || fs::exists(folder)) {
        return;
    }
    makeFolders(folder.parent_path());
    needSuccess(system().makeFolder(folder), "cannot make the folder", folder);
    syncFolderOf(folder);
}

}  // namespace

ImagePlace imagePlace() {
    if (const std::string named = variable("KSIGIL_TOKEN"); !named.empty()) {
        return {named, false};
    }
    std::string data = variable("XDG_DATA_HOME");
    if (data.empty() || data.front() != '/') {  // a relative one counts as unset, as HOME
        const std::string home = variable("HOME");
        if (home.empty() || home.front() != '/') {
            return {};
        }
        data = home + "/.local/share";
    }
    return {data + "/ksigil/token.db", true};
}

std::string realImagePath(const ImagePlace& place, Missing missing) {
    if (place.path.empty()) {
        throw Fault(
            "the image has no place: KSIGIL_TOKEN is unset, and XDG_DATA_HOME and HOME name no "
            "absolute path");
    }
    const fs::path path(place.path);
    try {
        if (place.isDefault && missing == Missing::make) {
            makeFolders(path.parent_path());
        }
        if (fs::is_symlink(path)) {
            return fs::canonical(path);
        }
        return fs::canonical(path.has_parent_path() ? path.parent_path() : ".") / path.filename();
    } catch (const fs::filesystem_error& error) {
        throw Fault("the place of the image " + place.path +
                    " cannot be found: " + error.code().message());
    }
}

}  // namespace token
