#include "token/power/shared_memory.h"

#include <cerrno>

#include "token/base/fault.h"
#include "token/base/system.h"

namespace token {

std::optional<SharedMemory> SharedMemory::make(std::int32_t name, std::size_t bytes) {
    SharedMemory memory;
    int error = system().makeMemory(name, bytes, memory.id_);
    if (error == EEXIST) {
        return std::nullopt;
    }
    if (error == 0) {
        const std::uint32_t user = system().userNumber();
        error = system().attachMemory(memory.id_, bytes, user, memory.address_);
        const int last = system().letMemoryGo(memory.id_);
        error = error == 0 ? last : error;
    }
    needSuccess(error, "cannot power the token", "in shared memory");
    return memory;
}

SharedMemory SharedMemory::attach(std::int32_t id, std::size_t bytes, std::uint32_t owner) {
    SharedMemory memory;
    memory.id_ = id;
    memory.isForbidden_ = system().attachMemory(id, bytes, owner, memory.address_) == EACCES;
    return memory;
}

SharedMemory::~SharedMemory() {
    if (address_ != nullptr) {
        system().detachMemory(address_);
    }
}

}  // namespace token
