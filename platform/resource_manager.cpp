#include "platform/resource_manager.h"

#include <cstdlib>
#include <memory>

#include "platform/absent_resource_manager.h"
#include "platform/embedded_resource_manager.h"
#include "platform/process.h"
#include "platform/reader_target.h"
#include "platform/win32.h"
#include "token/base/printable.h"
#include "token/image/image_place.h"
#ifdef KSIGIL_SYSTEM_PCSC
#include "platform/system_resource_manager.h"
#endif

namespace platform {
namespace {

std::unique_ptr<ResourceManager> absent(LONG result, const std::string& why) {
    return std::make_unique<AbsentResourceManager>(static_cast<std::uint32_t>(result), why);
}

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
        return absent(SCARD_E_NO_SERVICE, "this build has no resource manager \"system\"");
#endif
    }
    return absent(SCARD_E_NO_SERVICE,
                  "KSIGIL_PCSC names \"" + name + "\", not \"embedded\" or \"system\"");
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
        *absent(SCARD_E_INVALID_HANDLE, "the token is in use by the process that forked this one")
             .release();
    return inChild;
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
