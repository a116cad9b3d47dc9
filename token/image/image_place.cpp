#include "token/image/image_place.h"

#include <cstdlib>

namespace token {
namespace {

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
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

}  // namespace token
