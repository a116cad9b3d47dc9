#pragma once

#include <memory>
#include <string>
#include <utility>

#include "platform/posix/windows_names.h"

namespace platform {

class SystemMutex;
class Region;

// A system object that handles and views keep alive and that others may find by its name.
class SystemObject {
  public:
    SystemObject() = default;
    SystemObject(const SystemObject&) = delete;
    SystemObject& operator=(const SystemObject&) = delete;
    virtual ~SystemObject() = default;

    virtual SystemMutex* asMutex() { return nullptr; }
    virtual Region* asRegion() { return nullptr; }
};

// A HANDLE points to one of these. The mutex stands beside its owner to spare a wait the virtual
// call.
struct Handle {
    std::shared_ptr<SystemObject> object;
    SystemMutex* mutex;
};

// Null for no handle.
inline Handle* handleOf(HANDLE handle) {
    return handle == INVALID_HANDLE_VALUE ? nullptr : static_cast<Handle*>(handle);
}

// Makes a handle to the object of this name, which `make` makes if there is none; a null or empty
// name finds nothing and is not found. Leaves the last error as the published calls do. Null if the
// object that has the name is not of the kind wanted (`isKind` says so).
HANDLE openNamed(LPCSTR name, bool (*isKind)(SystemObject&),
                 std::shared_ptr<SystemObject> (*make)(SIZE_T size), SIZE_T size);

}  // namespace platform
