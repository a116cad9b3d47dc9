#include "token/power/shared_memory.h"

#include "token/base/fault.h"
#include "token/base/system.h"

namespace token {

SharedMemory SharedMemory::make(std::size_t bytes) {
    std::int32_t id = -1;
    void* address = nullptr;
    needSuccess(system().makeMemory(bytes, id, address), "cannot power the token",
                "in shared memory");
    return {id, address};
}

SharedMemory SharedMemory::attach(std::int32_t id, std::size_t bytes) {
    return {id, system().attachMemory(id, bytes)};
}

SharedMemory::~SharedMemory() {
    if (address_ != nullptr) {
        system().detachMemory(address_);
    }
}

}  // namespace token
