#pragma once

namespace platform {

// What a path leads to. A pipe or a device must not be opened to find out: that alone may wake
// whoever waits on it.
enum class PathKind {
    drive,   // a file on a drive
    other,   // a file on a share, or by a name that the system does not read
    device,  // a device, a pipe or a mail slot, and what cannot be told
};

PathKind kindOf(const char* path);

}  // namespace platform
