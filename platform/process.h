#pragma once

namespace platform {

// Sets the process up as the programs need it; called first in each `main` of the host's. The
// process leaves no core dump, for passwords and keys pass through its memory. A file that may not
// grow is a failed write to it, as a full disk is, and no reason to end.
void prepareProcess();

// Whether this process was forked from the one that asked first.
bool isForked();

}  // namespace platform
