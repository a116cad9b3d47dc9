#pragma once

#include <memory>

#include "platform/resource_manager.h"

namespace platform {

// The managers that KSIGIL_PCSC can name, of this system. Where there is none, an
// AbsentResourceManager says why.
std::unique_ptr<ResourceManager> embeddedResourceManager();
std::unique_ptr<ResourceManager> systemResourceManager();

}  // namespace platform
