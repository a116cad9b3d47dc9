#include "support/security_attributes.h"

namespace {

bool hasSecurity() {
    OSVERSIONINFOA version{};
    version.dwOSVersionInfoSize = sizeof version;
    return GetVersionExA(&version) != FALSE && version.dwPlatformId == VER_PLATFORM_WIN32_NT;
}

[[maybe_unused]] const SecurityAttributes& builtBeforeMain = ksigil::processSecurityAttributes();

}  // namespace

SecurityAttributes::SecurityAttributes() {
    if (hasSecurity()) {
        descriptor = static_cast<SECURITY_DESCRIPTOR*>(LocalAlloc(LPTR, sizeof *descriptor));
    }
    if (descriptor != nullptr &&
        InitializeSecurityDescriptor(descriptor, SECURITY_DESCRIPTOR_REVISION) != FALSE &&
        SetSecurityDescriptorDacl(descriptor, TRUE, nullptr, FALSE) != FALSE) {
        attributes.nLength = sizeof attributes;
        attributes.lpSecurityDescriptor = descriptor;
        attributes.bInheritHandle = TRUE;
    }
}

SecurityAttributes::~SecurityAttributes() {
    if (descriptor != nullptr) {
        LocalFree(descriptor);
    }
}

SECURITY_ATTRIBUTES* SecurityAttributes::get() {
    return descriptor != nullptr ? &attributes : nullptr;
}

SecurityAttributes& ksigil::processSecurityAttributes() {
    // Whoever calls this while it is built itself is destroyed first.
    static SecurityAttributes attributes;
    return attributes;
}
