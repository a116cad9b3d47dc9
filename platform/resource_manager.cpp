#include "platform/resource_manager.h"

#include <sys/resource.h>

#include <csignal>
#include <cstdlib>
#include <memory>

#include "platform/absent_resource_manager.h"
#include "platform/embedded_resource_manager.h"
#include "platform/printable.h"
#include "platform/reader_target.h"
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
        // A file that may not grow is a full disk to the token, and no reason to end.
        std::signal(SIGXFSZ, SIG_IGN);
        // What the token's secrets pass through is not for a core dump.
        constexpr rlimit none{0, 0};
        setrlimit(RLIMIT_CORE, &none);
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
    static const std::unique_ptr<ResourceManager> manager = configured();
    return *manager;
}

void useResourceManager(ResourceManager* manager) {
    replacement = manager;
}

std::string readerTarget() {
    return printable(resourceManager().leadsTo());
}

}  // namespace platform
