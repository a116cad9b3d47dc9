#pragma once

#include <memory>
#include <string>
#include <vector>

#include "apdulib/rm_apdutalker.h"
#include "include/ksigil.h"

namespace ksigil {

// The open handles of the process. A handle is a number that is given out once, and never an
// address: so one that is closed, or was made up, is known for what it is. Any thread may call; all
// but `closeHandle` throw std::bad_alloc.
ksigil_token* openHandle(std::shared_ptr<RMApduTalker> talker);

// Null where there is none, and in a process that was forked from the one that opened it.
std::shared_ptr<RMApduTalker> talkerOf(ksigil_token* handle);

// The names by which the open handles reach their readers.
std::vector<std::string> openReaderNames();

// The talker goes with its last user: with the operations of other threads that are under way.
void closeHandle(ksigil_token* handle) noexcept;

}  // namespace ksigil
