#pragma once

#include <windows.h>

#include <memory>

namespace platform {

struct Freed {
    void operator()(void* block) const { LocalFree(block); }
};
template <typename Block>
using OwnBlock = std::unique_ptr<Block, Freed>;

// Whether the SID is the process's user.
bool isOwners(PSID owner);

// The security descriptor that makes the user the owner, else an administrator's group may be, and
// gives him everything and nobody else anything; inherits nothing. Null on failure.
OwnBlock<void> ownersAlone();

}  // namespace platform
