#pragma once

#include <windows.h>

#include <cerrno>
#include <system_error>

namespace platform {

// Keeps why the last call of the system failed, as a number of C's.
inline void keepFailure() {
    const std::error_code error(static_cast<int>(GetLastError()), std::system_category());
    const std::error_condition condition = error.default_error_condition();
    errno = condition.category() == std::generic_category() ? condition.value() : EIO;
}

}  // namespace platform
