#include "tools/tree.h"

#include "include/ksigil.h"

namespace tools {

std::string nameOf(const Item& item) {
    std::string name;
    for (std::size_t at = 0; at < item.path.size(); at += 4) {
        name += (at == 0 ? "" : "/") + item.path.substr(at, 4);
    }
    return item.type == KSIGIL_KEY ? name + ".key" : name;
}

}  // namespace tools
