#include "libksigil/arguments.h"

#include <algorithm>

namespace ksigil {
namespace {

constexpr std::size_t longestPath = std::size_t{255} * 4;

}  // namespace

bool isPath(const char* path) {
    if (path == nullptr) {
        return false;
    }
    const char* const end = path + longestPath + 1;
    return std::find(path, end, '\0') != end;
}

}  // namespace ksigil
