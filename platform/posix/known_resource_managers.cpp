#include "platform/known_resource_managers.h"

#include "platform/posix/embedded_resource_manager.h"
#include "token/image/image_place.h"
#ifdef KSIGIL_SYSTEM_PCSC
#include "platform/posix/system_resource_manager.h"
#else
#include "platform/absent_resource_manager.h"
#include "platform/win32.h"
#endif

namespace platform {

std::unique_ptr<ResourceManager> embeddedResourceManager() {
    return std::make_unique<EmbeddedResourceManager>(token::imagePlace());
}

std::unique_ptr<ResourceManager> systemResourceManager() {
#ifdef KSIGIL_SYSTEM_PCSC
    return std::make_unique<SystemResourceManager>();
#else
    return absentResourceManager(SCARD_E_NO_SERVICE,
                                 "this build has no resource manager \"system\"");
#endif
}

}  // namespace platform
