#include "tools/outlet.h"

#include "include/ksigil.h"
#include "tools/manifest.h"

namespace tools {

void putTree(const Tree& tree, Outlet& outlet) {
    const std::string manifest = manifestOf(tree);
    outlet.addFile(manifestName,
                   {reinterpret_cast<const std::uint8_t*>(manifest.data()), manifest.size()});
    for (const Item& item : tree) {
        if (item.type == KSIGIL_DIRECTORY) {
            outlet.addFolder(nameOf(item));
        } else {
            outlet.addFile(nameOf(item), item.content);
        }
    }
}

}  // namespace tools
