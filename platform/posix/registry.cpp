#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "platform/posix/windows_names.h"

// The registry's one key here is a text file: a line NAME=VALUE for each value, and lines that
// start with '#'. Of lines of one name the first counts.

namespace platform {
namespace {

constexpr std::string_view loggingKey = "Software\\Veldane\\kSigil\\Logging";
constexpr std::size_t largestFile = 65536;  // bytes

struct RegistryKey {
    std::string text;
};

const char* loggingFile() {
    const char* const named = std::getenv("KSIGIL_LOGGING");
    return named == nullptr || *named == '\0' ? "/etc/veldane/ksigil/logging.conf" : named;
}

// The whole of a regular file of at most `largestFile` bytes, or false. Waits for no writer.
bool readWhole(const char* path, std::string& text) {
    const int descriptor = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat about {};
    bool isWhole = false;
    if (descriptor >= 0) {
        if (fstat(descriptor, &about) == 0 && S_ISREG(about.st_mode)) {
            text.resize(largestFile + 1);
            const ssize_t length = read(descriptor, text.data(), text.size());
            isWhole = length >= 0 && static_cast<std::size_t>(length) <= largestFile;
            text.resize(isWhole ? static_cast<std::size_t>(length) : 0);
        }
        close(descriptor);
    }
    return isWhole;
}

// The value in the line NAME=VALUE; false if there is no such line.
bool findValue(std::string_view text, std::string_view name, std::string_view& value) {
    bool isFound = false;
    while (!text.empty() && !isFound) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        if (line.starts_with(name) && line.substr(name.size()).starts_with('=')) {
            value = line.substr(name.size() + 1);
            isFound = true;
        }
    }
    return isFound;
}

LONG give(const void* bytes, std::size_t length, BYTE* data, DWORD* size) {
    LONG rv = ERROR_MORE_DATA;
    if (length <= *size) {
        std::memcpy(data, bytes, length);
        rv = ERROR_SUCCESS;
    }
    *size = static_cast<DWORD>(length);
    return rv;
}

// `Path` is a text, whose end counts; all other values are numbers of 32 bits.
LONG giveValue(std::string_view name, std::string_view value, BYTE* data, DWORD* size) {
    LONG rv = ERROR_INVALID_DATA;
    if (name == "Path") {
        const std::string text(value);
        rv = give(text.c_str(), text.size() + 1, data, size);
    } else {
        DWORD number = 0;
        const char* const end = value.data() + value.size();
        const std::from_chars_result parsed = std::from_chars(value.data(), end, number);
        if (parsed.ec == std::errc() && parsed.ptr == end) {
            rv = give(&number, sizeof number, data, size);
        }
    }
    return rv;
}

}  // namespace
}  // namespace platform

LONG RegOpenKeyExA(HKEY root, LPCSTR name, DWORD, REGSAM, HKEY* key) {
    LONG rv = ERROR_FILE_NOT_FOUND;
    try {
        auto opened = std::make_unique<platform::RegistryKey>();
        if (root == HKEY_LOCAL_MACHINE && name == platform::loggingKey &&
            platform::readWhole(platform::loggingFile(), opened->text)) {
            *key = opened.release();
            rv = ERROR_SUCCESS;
        }
    } catch (const std::bad_alloc&) {
        rv = ERROR_NOT_ENOUGH_MEMORY;
    }
    return rv;
}

LONG RegQueryValueExA(HKEY key, LPCSTR name, DWORD*, DWORD*, BYTE* data, DWORD* size) {
    LONG rv = ERROR_FILE_NOT_FOUND;
    try {
        std::string_view value;
        if (platform::findValue(static_cast<platform::RegistryKey*>(key)->text, name, value)) {
            rv = platform::giveValue(name, value, data, size);
        }
    } catch (const std::bad_alloc&) {
        rv = ERROR_NOT_ENOUGH_MEMORY;
    }
    return rv;
}

LONG RegCloseKey(HKEY key) {
    const std::unique_ptr<platform::RegistryKey> owner(static_cast<platform::RegistryKey*>(key));
    return ERROR_SUCCESS;
}
