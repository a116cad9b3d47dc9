#include "platform/resource_manager.h"

#include <cstdlib>
#include <memory>

#include "platform/absent_resource_manager.h"
#include "platform/embedded_resource_manager.h"
#include "platform/reader_target.h"
#include "token/base/printable.h"
#include "token/image/image_place.h"
#ifdef KSIGIL_SYSTEM_PCSC
#include "platform/system_resource_manager.h"
#endif

namespace platform {
namespace {

std::unique_ptr<ResourceManager> configured() {
    const char* variable = std::getenv("KSIGIL_PCSC");
    const bool set = variable != nullptr && *variable != '\0';
    const std::string name = set ? variable : KSIGIL_PCSC_DEFAULT;
    if (name == "embedded") {
        return std::make_unique<EmbeddedResourceManager>(token::imagePlace());
    }
    if (name == "system") {
#ifdef KSIGIL_SYSTEM_PCSC
        return std::make_unique<SystemResourceManager>();
#else
        return std::make_unique<AbsentResourceManager>(
            "this build has no resource manager \"system\"");
#endif
    }
    return std::make_unique<AbsentResourceManager>("KSIGIL_PCSC names \"" + name +
                                                   "\", not \"embedded\" or \"system\"");
}

ResourceManager* replacement = nullptr;

}  // namespace

ResourceManager& resourceManager() {
    if (replacement != nullptr) {
        return *replacement;
    }
    // Never destroyed: a static talker closes its connections while the process exits.
    static ResourceManager& manager = *configured().release();
    return manager;
}

void useResourceManager(ResourceManager* manager) {
    replacement = manager;
}

bool isReaderEmbedded() {
    return dynamic_cast<const EmbeddedResourceManager*>(&resourceManager()) != nullptr;
}

std::string readerTarget() {
    return token::printable(resourceManager().leadsTo());
}

}  // namespace platform
