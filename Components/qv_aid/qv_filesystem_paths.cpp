#include <charconv>

#include "Components/qv_aid/qv_filesystem.h"
#include "include/result_numbers.h"
#include "support/assertion.h"

using namespace ksigil;

namespace {

constexpr std::size_t digitsPerLevel = 4;
constexpr u64 longestPath = 0x1'0000'0000;  // keeps a selection's length within 32 bits

// Whether all 4 characters are digits; `fileId` is then their value.
bool parseFileId(const char* digits, u16& fileId) {
    const char* const end = digits + digitsPerLevel;
    const std::from_chars_result parsed = std::from_chars(digits, end, fileId, 16);
    return parsed.ec == std::errc() && parsed.ptr == end;
}

}  // namespace

u32 QVFileSystem::parsePath(const std::string& path, std::vector<u16>& ids) {
    u32 rv = result::success;
    if (path.length() % digitsPerLevel != 0 || path.length() < digitsPerLevel ||
        path.length() > longestPath) {
        rv = result::invalidArgument;
    }
    for (std::size_t at = 0; at < path.length() && rv == result::success; at += digitsPerLevel) {
        u16 fileId = 0;
        if (parseFileId(path.data() + at, fileId)) {
            ids.push_back(fileId);
        } else {
            rv = result::invalidArgument;
        }
    }
    return rv;
}

u32 QVFileSystem::splitPath(const std::string& path, std::string& parent, u16& fileId) {
    std::vector<u16> ids;
    const u32 rv = parsePath(path, ids);
    if (rv == result::success) {
        parent = path.substr(0, path.length() - digitsPerLevel);
        fileId = ids.back();
    }
    return rv;
}

std::string QVFileSystem::fileNameOf(const std::string& path) {
    // The site keeps the file and line under which it is known, whatever moves around it.
    if (!((path.length() % 4) == 0 && path.length() >= 4)) {
        assertionFailed("((path.length() % 4) == 0 && path.length() >= 4)",
                        "Components/qv_aid/qv_filesystem", 576);
    }
    return path.substr(path.length() - digitsPerLevel);
}

std::string QVFileSystem::formatFileId(u16 fileId) {
    constexpr char digits[] = "0123456789abcdef";
    return {digits[fileId >> 12], digits[fileId >> 8 & 0xF], digits[fileId >> 4 & 0xF],
            digits[fileId & 0xF]};
}
