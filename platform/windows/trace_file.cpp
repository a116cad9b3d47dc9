#include "platform/trace_file.h"

#include <aclapi.h>

#include <algorithm>
#include <memory>

#include "platform/win32.h"
#include "platform/windows/own_access.h"
#include "platform/windows/path_kind.h"

namespace platform {
namespace {

// A file's list of who has access, to which its folder's adds nothing.
constexpr SECURITY_INFORMATION ownList =
    DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION;

// A HANDLE has 32 bits that count, and may be kept as such.
HANDLE handleOf(int descriptor) {
    return LongToHandle(descriptor);
}

bool isOwnersFile(HANDLE file) {
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const bool isRead = GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner,
                                        nullptr, nullptr, nullptr, &descriptor) == ERROR_SUCCESS;
    const OwnBlock<void> owned(descriptor);
    return isRead && owner != nullptr && isOwners(owner);
}

// A plain file on a disk with one name, which is no link to another place.
bool isPlainFile(HANDLE file) {
    BY_HANDLE_FILE_INFORMATION about{};
    return GetFileType(file) == FILE_TYPE_DISK &&
           GetFileInformationByHandle(file, &about) != FALSE &&
           (about.dwFileAttributes & (FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY)) ==
               0 &&
           about.nNumberOfLinks == 1;
}

// Opens nothing but a plain file of this user's, made if it is missing, and leaves it to him alone.
// INVALID_HANDLE_VALUE on failure.
HANDLE openOwnFile(const char* path, DWORD access) {
    const OwnBlock<void> descriptor = ownersAlone();
    if (kindOf(path) != PathKind::drive || !descriptor) {
        return INVALID_HANDLE_VALUE;
    }
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor.get(), FALSE};
    HANDLE file = CreateFileA(path, access | READ_CONTROL | WRITE_DAC,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &attributes,
                              OPEN_ALWAYS, FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (file != INVALID_HANDLE_VALUE &&
        (!isPlainFile(file) || !isOwnersFile(file) ||
         SetKernelObjectSecurity(file, ownList, descriptor.get()) == FALSE)) {
        CloseHandle(file);
        file = INVALID_HANDLE_VALUE;
    }
    return file;
}

// Makes the file end there.
bool setLength(HANDLE file, std::int64_t length) {
    LARGE_INTEGER end{};
    end.QuadPart = length;
    return SetFilePointerEx(file, end, nullptr, FILE_BEGIN) != FALSE && SetEndOfFile(file) != FALSE;
}

OVERLAPPED placeOf(std::int64_t offset) {
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(offset);
    place.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return place;
}

// One piece of the tail, to its place from `offset` to `target`.
void moveBytes(HANDLE file, char* buffer, DWORD length, std::int64_t offset, std::int64_t target) {
    std::fill_n(buffer, length, '\0');
    DWORD moved = 0;
    OVERLAPPED from = placeOf(offset);
    ReadFile(file, buffer, length, &moved, &from);
    OVERLAPPED to = placeOf(target);
    WriteFile(file, buffer, length, &moved, &to);
}

}  // namespace

void TraceFile::openEmptied(const char* path) {
    descriptor_ = static_cast<int>(HandleToLong(openOwnFile(path, GENERIC_WRITE)));
    if (descriptor_ != none && !setLength(handleOf(descriptor_), 0)) {
        close();
    }
}

void TraceFile::openAppending(const char* path) {
    descriptor_ = static_cast<int>(HandleToLong(openOwnFile(path, FILE_APPEND_DATA)));
    if (descriptor_ != none) {
        SetFilePointerEx(handleOf(descriptor_), {}, nullptr, FILE_END);
    }
}

void TraceFile::write(std::string_view text) {
    if (descriptor_ != none) {
        DWORD written = 0;
        if (WriteFile(handleOf(descriptor_), text.data(), static_cast<DWORD>(text.size()), &written,
                      nullptr) == FALSE ||
            written != text.size()) {
            close();
        }
    }
}

std::int64_t TraceFile::position() const {
    LARGE_INTEGER position{};
    position.QuadPart = -1;
    if (descriptor_ != none) {
        SetFilePointerEx(handleOf(descriptor_), {}, &position, FILE_CURRENT);
    }
    return position.QuadPart;
}

void TraceFile::close() {
    if (descriptor_ != none) {
        CloseHandle(handleOf(descriptor_));
        descriptor_ = none;
    }
}

void keepTail(const char* path, std::int64_t position, std::int64_t count) {
    HANDLE file = openOwnFile(path, GENERIC_READ | GENERIC_WRITE);
    if (file != INVALID_HANDLE_VALUE) {
        char buffer[4096];
        for (std::int64_t done = 0; done < count;) {
            const auto length = std::min<std::int64_t>(count - done, sizeof buffer);
            moveBytes(file, buffer, static_cast<DWORD>(length), position - count + done, done);
            done += length;
        }
        setLength(file, count);
        CloseHandle(file);
    }
}

}  // namespace platform
