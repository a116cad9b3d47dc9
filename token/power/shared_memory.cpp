#include "token/power/shared_memory.h"

#include <sys/mman.h>
#include <sys/shm.h>

#include "token/base/fault.h"

namespace token {
namespace {

// What shmat gives on failure: all ones. Where the system allows, what is in the region comes into
// no core dump.
void* attached(std::int32_t id, std::size_t bytes) {
    void* address = shmat(id, nullptr, 0);
    if (reinterpret_cast<std::intptr_t>(address) == -1) {
        return nullptr;
    }
    madvise(address, bytes, MADV_DONTDUMP);
    return address;
}

}  // namespace

SharedMemory SharedMemory::make(std::size_t bytes) {
    const std::int32_t id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
    if (id < 0) {
        throw systemFault("cannot power the token", "in shared memory");
    }
    void* address = attached(id, bytes);
    shmctl(id, SHM_LOCK, nullptr);  // out of the swap, where the system allows
    shmctl(id, IPC_RMID, nullptr);
    if (address == nullptr) {
        throw systemFault("cannot power the token", "in shared memory");
    }
    return {id, address};
}

SharedMemory SharedMemory::attach(std::int32_t id, std::size_t bytes) {
    struct shmid_ds about {};
    if (id < 0 || shmctl(id, IPC_STAT, &about) != 0 || about.shm_segsz != bytes) {
        return {-1, nullptr};
    }
    return {id, attached(id, bytes)};
}

SharedMemory::~SharedMemory() {
    if (address_ != nullptr) {
        shmdt(address_);
    }
}

}  // namespace token
