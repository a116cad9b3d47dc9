#include "platform/program/folder.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdint>
#include <string_view>

#include "platform/windows/own_access.h"
#include "platform/windows/own_handle.h"
#include "platform/windows/program/beside.h"
#include "platform/windows/program/failure.h"

namespace platform {
namespace {

// Opens a file or folder itself, never what a link names. While it is open it keeps its place.
OwnHandle openItself(const std::string& path) {
    return own(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                           FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

struct Found {
    void operator()(void* search) const { FindClose(search); }
};

class WindowsFolder final : public Folder {
  public:
    WindowsFolder(const std::string& path, OwnHandle folder)
        : path_(path), folder_(std::move(folder)) {
        void* const search = FindFirstFileA((path_ + "\\*").c_str(), &entry_);
        isAtEnd_ = search == INVALID_HANDLE_VALUE;
        search_.reset(isAtEnd_ ? nullptr : search);
    }

    std::string next() override {
        std::string name;
        while (!isAtEnd_ && (name.empty() || name == "." || name == "..")) {
            name = entry_.cFileName;
            isAtEnd_ = FindNextFileA(search_.get(), &entry_) == FALSE;
        }
        return name == "." || name == ".." ? "" : name;
    }

    Opened open(const std::string& name) override { return openPath(path_ + "\\" + name); }

    static Opened openPath(const std::string& path);

  private:
    std::string path_;
    OwnHandle folder_;
    WIN32_FIND_DATAA entry_{};
    std::unique_ptr<void, Found> search_;
    bool isAtEnd_ = false;
};

// Judged by what was opened.
Opened WindowsFolder::openPath(const std::string& path) {
    Opened opened;
    OwnHandle entry = openItself(path);
    BY_HANDLE_FILE_INFORMATION about{};
    if (!entry || GetFileInformationByHandle(entry.get(), &about) == FALSE) {
        keepFailure();
        return opened;
    }
    opened.isOther = (about.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ||
                     about.nNumberOfLinks != 1 || GetFileType(entry.get()) != FILE_TYPE_DISK;
    if (opened.isOther) {
        return opened;
    }
    if ((about.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        opened.folder = std::make_unique<WindowsFolder>(path, std::move(entry));
    } else {
        opened.file = Descriptor(_open_osfhandle(reinterpret_cast<std::intptr_t>(entry.release()),
                                                 _O_RDONLY | _O_BINARY));
    }
    return opened;
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
    RemoveDirectoryA(to.c_str());  // goes only if it is there and empty
    return kept(MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_WRITE_THROUGH) != FALSE);
}

std::unique_ptr<Folder> openFolder(const std::string& name) {
    return WindowsFolder::openPath(name).folder;
}

}  // namespace platform
