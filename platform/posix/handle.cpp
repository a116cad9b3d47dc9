#include "platform/posix/handle.h"

#include <map>
#include <mutex>

namespace platform {
namespace {

std::mutex namesMutex;

// Never destroyed: static objects use handles while the process exits.
std::map<std::string, std::weak_ptr<SystemObject>>& names() {
    static auto& all =
        *std::make_unique<std::map<std::string, std::weak_ptr<SystemObject>>>().release();
    return all;
}

HANDLE newHandle(std::shared_ptr<SystemObject> object) {
    SystemMutex* mutex = object->asMutex();
    return std::make_unique<Handle>(Handle{std::move(object), mutex}).release();
}

}  // namespace

HANDLE openNamed(LPCSTR name, bool (*isKind)(SystemObject&),
                 std::shared_ptr<SystemObject> (*make)(SIZE_T size), SIZE_T size) {
    std::shared_ptr<SystemObject> object;
    DWORD error = ERROR_SUCCESS;
    if (name == nullptr || *name == '\0') {
        object = make(size);
    } else {
        const std::lock_guard guard(namesMutex);
        std::erase_if(names(), [](const auto& entry) { return entry.second.expired(); });
        std::weak_ptr<SystemObject>& entry = names()[name];
        object = entry.lock();
        if (!object) {
            object = make(size);
            entry = object;
        } else {
            error = ERROR_ALREADY_EXISTS;
        }
    }
    if (!object) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    if (!isKind(*object)) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    SetLastError(error);
    return newHandle(std::move(object));
}

}  // namespace platform

BOOL CloseHandle(HANDLE handle) {
    const std::unique_ptr<platform::Handle> owner(platform::handleOf(handle));
    if (!owner) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return TRUE;
}
