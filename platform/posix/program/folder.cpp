#include "platform/program/folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace platform {
namespace {

struct Closed {
    void operator()(DIR* folder) const { closedir(folder); }
};

class PosixFolder final : public Folder {
  public:
    explicit PosixFolder(DIR* entries) : entries_(entries) {}

    std::string next() override {
        std::string name;
        do {
            errno = 0;
            const dirent* const entry = readdir(entries_.get());
            name = entry == nullptr ? "" : entry->d_name;
        } while (name == "." || name == "..");
        return name;
    }

    Opened open(const std::string& name) override;

  private:
    std::unique_ptr<DIR, Closed> entries_;
};

std::unique_ptr<Folder> folderOf(Descriptor descriptor) {
    DIR* const entries = descriptor.isOpen() ? fdopendir(descriptor.get()) : nullptr;
    if (entries == nullptr) {
        return nullptr;
    }
    descriptor.release();
    return std::make_unique<PosixFolder>(entries);
}

// Judged by what was opened.
Opened PosixFolder::open(const std::string& name) {
    Opened opened;
    Descriptor entry(openat(dirfd(entries_.get()), name.c_str(),
                            O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat about {};
    if (!entry.isOpen() || fstat(entry.get(), &about) != 0) {
        return opened;
    }
    if (S_ISDIR(about.st_mode)) {
        opened.folder = folderOf(std::move(entry));
    } else if (S_ISREG(about.st_mode) && about.st_nlink == 1) {
        opened.file = std::move(entry);
    } else {
        opened.isOther = true;
    }
    return opened;
}

}  // namespace

bool makeFolderBeside(std::string& name) {
    name += ".XXXXXX";
    return mkdtemp(name.data()) != nullptr;
}

bool makeFolder(const std::string& name) {
    return mkdir(name.c_str(), 0700) == 0;
}

bool replaceFolder(const std::string& from, const std::string& to) {
    return std::rename(from.c_str(), to.c_str()) == 0;
}

void removeFolder(const std::string& name) {
    std::error_code ignored;
    std::filesystem::remove_all(name, ignored);
}

bool isFolder(const std::string& name) {
    struct stat about {};
    return stat(name.c_str(), &about) == 0 && S_ISDIR(about.st_mode);
}

bool isThere(const std::string& name) {
    struct stat about {};
    return stat(name.c_str(), &about) == 0;
}

std::unique_ptr<Folder> openFolder(const std::string& name) {
    return folderOf(Descriptor(::open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
}

}  // namespace platform
