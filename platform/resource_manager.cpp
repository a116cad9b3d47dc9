#include "platform/resource_manager.h"

#include <cstdlib>
#include <memory>

#include "platform/absent_resource_manager.h"
#include "platform/known_resource_managers.h"
#include "platform/process.h"
#include "platform/reader_target.h"
#include "platform/win32.h"
#include "token/base/printable.h"

namespace platform {
namespace {

std::unique_ptr<ResourceManager> configured() {
    const char* variable = std::getenv("KSIGIL_PCSC");
    const bool set = variable != nullptr && *variable != '\0';
    const std::string name = set ? variable : KSIGIL_PCSC_DEFAULT;
    if (name == "embedded") {
        return embeddedResourceManager();
    }
    if (name == "system") {
        return systemResourceManager();
    }
    return absentResourceManager(
        SCARD_E_NO_SERVICE, "KSIGIL_PCSC names \"" + name + "\", not \"embedded\" or \"system\"");
}

ResourceManager* replacement = nullptr;

}  // namespace

ResourceManager& resourceManager() {
    if (replacement != nullptr) {
        return *replacement;
    }
    // Never destroyed: a static talker closes its connections while the process exits.
    static ResourceManager& manager = *configured().release();
    if (!isForked()) {
        return manager;
    }
    static ResourceManager& inChild =
        *absentResourceManager(SCARD_E_INVALID_HANDLE,
                               "the token is in use by the process that forked this one")
             .release();
    return inChild;
}

void useResourceManager(ResourceManager* manager) {
    replacement = manager;
}

bool isReaderEmbedded() {
    return resourceManager().isEmbedded();
}

std::string readerTarget() {
    return token::printable(resourceManager().leadsTo());
}

}  // namespace platform
