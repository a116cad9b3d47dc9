#pragma once

#include "include/basic_types.h"
#include "include/ksigil.h"

namespace ksigil {

// Whether the number tells that the thread's connection is of no more use.
constexpr bool isConnectionLost(u32 rv) {
    return rv == KSIGIL_LOST_MANAGER || rv == KSIGIL_READER_GONE || rv == KSIGIL_TOKEN_RESET ||
           rv == KSIGIL_TOKEN_REMOVED;
}

}  // namespace ksigil
