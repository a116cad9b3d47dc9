#include "platform/windows/path_kind.h"

#include <windows.h>

#include <array>
#include <cctype>
#include <cstring>

namespace platform {
namespace {

bool startsWith(const char* text, const char* start) {
    return _strnicmp(text, start, std::strlen(start)) == 0;
}

bool startsWithDrive(const char* path) {
    return std::isalpha(static_cast<unsigned char>(path[0])) != 0 && startsWith(path + 1, ":\\");
}

// What stands behind `\\`: a host, a share and a file on it. Each host has pipes and mail slots,
// too.
PathKind kindOnHost(const char* host) {
    const char* const share = std::strchr(host, '\\');
    return share == nullptr || startsWith(share, "\\pipe\\") || startsWith(share, "\\mailslot\\")
               ? PathKind::device
               : PathKind::other;
}

}  // namespace

PathKind kindOf(const char* path) {
    std::array<char, 4096> room{};
    const char* const full = room.data();
    const DWORD length =
        GetFullPathNameA(path, static_cast<DWORD>(room.size()), room.data(), nullptr);
    // The last is one more way to name a device.
    if (length == 0 || length >= room.size() || std::strstr(full, R"(\??\)") != nullptr) {
        return PathKind::device;
    }
    if (startsWithDrive(full)) {
        return PathKind::drive;
    }
    if (startsWith(full, R"(\\?\)")) {
        const char* const rest = full + 4;
        if (startsWith(rest, "UNC\\")) {
            return kindOnHost(rest + 4);
        }
        return startsWithDrive(rest) || startsWith(rest, "Volume{") ? PathKind::other
                                                                    : PathKind::device;
    }
    return startsWith(full, R"(\\)") && !startsWith(full, R"(\\.\)") ? kindOnHost(full + 2)
                                                                     : PathKind::device;
}

}  // namespace platform
