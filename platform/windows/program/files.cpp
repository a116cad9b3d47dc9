#include "platform/program/files.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <bit>
#include <climits>

#include "platform/windows/own_access.h"
#include "platform/windows/own_handle.h"
#include "platform/windows/path_kind.h"
#include "platform/windows/program/beside.h"
#include "platform/windows/program/failure.h"

namespace platform {
namespace {

constexpr DWORD anyShare = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Null where it cannot be opened.
OwnHandle look(const std::string& name) {
    return own(CreateFileA(name.c_str(), 0, anyShare, nullptr, OPEN_EXISTING,
                           FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

bool isDevice(const std::string& name) {
    return kindOf(name.c_str()) == PathKind::device;
}

Descriptor makeNew(const std::string& name, bool isPrivate) {
    const OwnBlock<void> access = isPrivate ? ownersAlone() : nullptr;
    if (isPrivate && access == nullptr) {
        return Descriptor();
    }
    SECURITY_ATTRIBUTES attributes{sizeof attributes, access.get(), FALSE};
    void* const handle = CreateFileA(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &attributes,
                                     CREATE_NEW, FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    return Descriptor(handle == INVALID_HANDLE_VALUE
                          ? -1
                          : _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), _O_BINARY));
}

unsigned int atOnce(std::size_t length) {
    return static_cast<unsigned int>(std::min<std::size_t>(length, INT_MAX));
}

}  // namespace

void Descriptor::close() {
    if (isOpen()) {
        _close(release());
    }
}

Descriptor openToRead(const std::string& name) {
    return Descriptor(_open(name.c_str(), _O_RDONLY | _O_BINARY | _O_NOINHERIT));
}

Descriptor openToWrite(const std::string& name) {
    return Descriptor(_open(name.c_str(), _O_WRONLY | _O_BINARY | _O_NOINHERIT));
}

std::ptrdiff_t readSome(int descriptor, void* room, std::size_t length) {
    return _read(descriptor, room, atOnce(length));
}

std::ptrdiff_t writeSome(int descriptor, const void* bytes, std::size_t length) {
    return _write(descriptor, bytes, atOnce(length));
}

// The null device is a terminal to the C library.
bool isTerminal(int descriptor) {
    DWORD mode = 0;
    return GetConsoleMode(std::bit_cast<HANDLE>(_get_osfhandle(descriptor)), &mode) != FALSE;
}

bool isOtherThanFile(const std::string& name) {
    if (isDevice(name)) {
        return true;
    }
    const OwnHandle file = look(name);
    BY_HANDLE_FILE_INFORMATION about{};
    return file && (GetFileType(file.get()) != FILE_TYPE_DISK ||
                    (GetFileInformationByHandle(file.get(), &about) != FALSE &&
                     (about.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0));
}

std::string realName(const std::string& name) {
    const OwnHandle file = isDevice(name) ? nullptr : look(name);
    std::array<char, 4096> real{};
    const DWORD length = file ? GetFinalPathNameByHandleA(file.get(), real.data(),
                                                          static_cast<DWORD>(real.size()), 0)
                              : 0;
    return length != 0 && length < real.size() ? std::string(real.data(), length) : name;
}

Descriptor makeBeside(std::string& name, bool isPrivate) {
    Descriptor file;
    if (!makeWithEnding(name, [&](const std::string& whole) {
            file = makeNew(whole, isPrivate);
            return file.isOpen();
        })) {
        keepFailure();
    }
    return file;
}

Descriptor makeFile(const std::string& name) {
    Descriptor file = makeNew(name, true);
    if (!file.isOpen()) {
        keepFailure();
    }
    return file;
}

bool sync(const Descriptor& file) {
    return _commit(file.get()) == 0;
}

bool replaceFile(const std::string& from, const std::string& to) {
    const bool isDone = MoveFileExA(from.c_str(), to.c_str(),
                                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE;
    if (!isDone) {
        keepFailure();
    }
    return isDone;
}

void removeFile(const std::string& name) {
    DeleteFileA(name.c_str());
}

}  // namespace platform
