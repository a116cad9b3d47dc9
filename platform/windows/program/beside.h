#pragma once

#include <windows.h>

#include <atomic>
#include <string>

namespace platform {

// Makes something new under the name with an ending of its own behind it; `make` gives false where
// that failed.
template <typename Make>
bool makeWithEnding(std::string& name, const Make& make) {
    static std::atomic<unsigned int> last{0};
    constexpr int mostTries = 100;
    const std::string given = name;
    const unsigned long process = GetCurrentProcessId();
    for (int tries = 0; tries < mostTries; ++tries) {
        name = given + "." + std::to_string(process) + "-" + std::to_string(++last);
        if (make(name)) {
            return true;
        }
        const DWORD why = GetLastError();
        if (why != ERROR_FILE_EXISTS && why != ERROR_ALREADY_EXISTS) {
            break;
        }
    }
    return false;
}

}  // namespace platform
