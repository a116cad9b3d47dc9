#pragma once

#include <string_view>

namespace platform {

// Sets the process up as the programs need it; called first in each `main` of the host's. The
// process leaves no core dump, for passwords and keys pass through its memory. A file that may not
// grow is a failed write to it, as a full disk is, and no reason to end. Standard streams pass each
// byte on as it is.
void prepareProcess();

// Writes it to standard error, in one write. What cannot be written is lost.
void writeToStandardError(std::string_view text);

// Whether this process was forked from the one that asked first.
bool isForked();

}  // namespace platform
