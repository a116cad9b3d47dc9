#include "support/log_key.h"

using namespace ksigil;

LogKey::LogKey()
    : isOpen_(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Software\\Veldane\\kSigil\\Logging", 0, KEY_READ,
                            &key_) == ERROR_SUCCESS) {}

LogKey::~LogKey() {
    if (isOpen_) {
        RegCloseKey(key_);
    }
}

bool LogKey::read(const char* name, void* data, DWORD size) const {
    return isOpen_ && RegQueryValueExA(key_, name, nullptr, nullptr, static_cast<BYTE*>(data),
                                       &size) == ERROR_SUCCESS;
}
