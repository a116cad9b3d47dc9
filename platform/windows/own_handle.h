#pragma once

#include <windows.h>

#include <memory>

namespace platform {

struct Closed {
    void operator()(void* handle) const { CloseHandle(handle); }
};
// Null is none, also where the system has another number for that.
using OwnHandle = std::unique_ptr<void, Closed>;

inline OwnHandle own(HANDLE handle) {
    return OwnHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

}  // namespace platform
