#include "platform/known_resource_managers.h"

#include "platform/absent_resource_manager.h"
#include "platform/win32.h"
#include "platform/windows/system_resource_manager.h"

namespace platform {

std::unique_ptr<ResourceManager> embeddedResourceManager() {
    return absentResourceManager(SCARD_E_NO_SERVICE,
                                 "on Windows the program has no embedded token; use one in a "
                                 "reader (KSIGIL_PCSC=system)");
}

std::unique_ptr<ResourceManager> systemResourceManager() {
    auto manager = std::make_unique<SystemResourceManager>();
    if (!manager->isThere()) {
        return absentResourceManager(SCARD_E_NO_SERVICE,
                                     "the system's folder has no winscard.dll that serves");
    }
    return manager;
}

}  // namespace platform
