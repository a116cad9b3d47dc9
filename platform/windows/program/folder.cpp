#include "platform/program/folder.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cerrno>
#include <cstdint>
#include <string_view>

#include "platform/windows/own_access.h"
#include "platform/windows/own_handle.h"
#include "platform/windows/program/beside.h"
#include "platform/windows/program/failure.h"

namespace platform {
namespace {

enum class Links { follow, tell };

// Opens a file or folder. While it is open it keeps its place.
OwnHandle openAny(const std::string& path, Links links) {
    const DWORD itself = links == Links::tell ? FILE_FLAG_OPEN_REPARSE_POINT : 0;
    return own(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                           itself | FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

// The entries of a folder, but for "." and "..".
class Search {
  public:
    explicit Search(const std::string& path) : pattern_(path + "\\*") {}

    // Null at the end, where errno is 0, and at a failure.
    const WIN32_FIND_DATAA* next() {
        while (step()) {
            const std::string_view name = entry_.cFileName;
            if (name != "." && name != "..") {
                return &entry_;
            }
        }
        errno = 0;
        if (GetLastError() != ERROR_NO_MORE_FILES) {
            keepFailure();
        }
        return nullptr;
    }

  private:
    struct Closed {
        void operator()(void* search) const { FindClose(search); }
    };

    bool step() {
        if (search_ != nullptr) {
            return FindNextFileA(search_.get(), &entry_) != FALSE;
        }
        void* const search = FindFirstFileA(pattern_.c_str(), &entry_);
        search_.reset(search == INVALID_HANDLE_VALUE ? nullptr : search);
        return search_ != nullptr;
    }

    std::string pattern_;
    WIN32_FIND_DATAA entry_{};
    std::unique_ptr<void, Closed> search_;
};

class WindowsFolder final : public Folder {
  public:
    WindowsFolder(const std::string& path, OwnHandle folder)
        : path_(path), folder_(std::move(folder)), entries_(path) {}

    std::string next() override {
        const WIN32_FIND_DATAA* const entry = entries_.next();
        return entry == nullptr ? "" : entry->cFileName;
    }

    Opened open(const std::string& name) override {
        return openPath(path_ + "\\" + name, Links::tell);
    }

    static Opened openPath(const std::string& path, Links links);

  private:
    std::string path_;
    OwnHandle folder_;
    Search entries_;
};

// Judged by what was opened.
Opened WindowsFolder::openPath(const std::string& path, Links links) {
    Opened opened;
    OwnHandle entry = openAny(path, links);
    BY_HANDLE_FILE_INFORMATION about{};
    if (!entry || GetFileInformationByHandle(entry.get(), &about) == FALSE) {
        keepFailure();
        return opened;
    }
    const bool isDirectory = (about.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    opened.isOther = (about.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ||
                     GetFileType(entry.get()) != FILE_TYPE_DISK ||
                     (!isDirectory && about.nNumberOfLinks != 1);
    if (opened.isOther) {
        return opened;
    }
    if (isDirectory) {
        opened.folder = std::make_unique<WindowsFolder>(path, std::move(entry));
    } else {
        opened.file = Descriptor(_open_osfhandle(reinterpret_cast<std::intptr_t>(entry.release()),
                                                 _O_RDONLY | _O_BINARY));
    }
    return opened;
}

bool hasAttribute(const std::string& name, DWORD attribute) {
    const DWORD attributes = GetFileAttributesA(name.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & attribute) != 0;
}

bool makePrivateFolder(const std::string& name) {
    const OwnBlock<void> access = ownersAlone();
    SECURITY_ATTRIBUTES attributes{sizeof attributes, access.get(), FALSE};
    return access != nullptr && CreateDirectoryA(name.c_str(), &attributes) != FALSE;
}

bool kept(bool isDone) {
    if (!isDone) {
        keepFailure();
    }
    return isDone;
}

}  // namespace

bool makeFolderBeside(std::string& name) {
    return kept(makeWithEnding(name, makePrivateFolder));
}

bool makeFolder(const std::string& name) {
    return kept(makePrivateFolder(name));
}

bool replaceFolder(const std::string& from, const std::string& to) {
    if (!hasAttribute(to, FILE_ATTRIBUTE_REPARSE_POINT)) {
        RemoveDirectoryA(to.c_str());  // goes only if it is there and empty
    }
    return kept(MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_WRITE_THROUGH) != FALSE);
}

void removeFolder(const std::string& name) {
    Search entries(name);
    for (const WIN32_FIND_DATAA* entry = entries.next(); entry != nullptr; entry = entries.next()) {
        const std::string path = name + "\\" + entry->cFileName;
        const bool isLink = (entry->dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
        if ((entry->dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            DeleteFileA(path.c_str());
        } else if (isLink) {
            RemoveDirectoryA(path.c_str());
        } else {
            removeFolder(path);
        }
    }
    RemoveDirectoryA(name.c_str());
}

bool isFolder(const std::string& name) {
    return hasAttribute(name, FILE_ATTRIBUTE_DIRECTORY);
}

bool isThere(const std::string& name) {
    return GetFileAttributesA(name.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::unique_ptr<Folder> openFolder(const std::string& name) {
    Opened opened = WindowsFolder::openPath(name, Links::follow);
    if (opened.folder == nullptr && (opened.isOther || opened.file.isOpen())) {
        errno = ENOTDIR;
    }
    return std::move(opened.folder);
}

}  // namespace platform
