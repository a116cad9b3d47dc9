#include "tools/folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "include/ksigil.h"
#include "tools/failure.h"
#include "tools/files.h"
#include "tools/interrupt.h"
#include "tools/outlet.h"

namespace tools {
namespace {

// A folder that goes with this object until it has its own name.
class NewFolder final : public Outlet {
  public:
    explicit NewFolder(const std::string& name) : name_(name) {
        while (name_.size() > 1 && name_.back() == '/') {
            name_.pop_back();
        }
        beside_ = name_ + ".XXXXXX";
        if (mkdtemp(beside_.data()) == nullptr) {
            throw Failure::ofSystem("cannot make " + name, errno);
        }
    }
    NewFolder(const NewFolder&) = delete;
    NewFolder& operator=(const NewFolder&) = delete;
    ~NewFolder() {
        std::error_code ignored;
        if (!beside_.empty()) {
            std::filesystem::remove_all(beside_, ignored);
        }
    }

    void commit() {
        if (rename(beside_.c_str(), name_.c_str()) != 0) {
            throw Failure::ofSystem("cannot make " + name_, errno);
        }
        beside_.clear();
    }

    void addFolder(const std::string& name) override {
        if (mkdir((beside_ + "/" + name).c_str(), 0700) != 0) {
            throw Failure::ofSystem("cannot make " + name, errno);
        }
    }

    void addFile(const std::string& name, std::span<const std::uint8_t> content) override {
        if (isInterrupted()) {
            throw Failure("cannot make " + name_, KSIGIL_CANCELLED);
        }
        const Descriptor file(
            open((beside_ + "/" + name).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (file.get() < 0) {
            throw Failure::ofSystem("cannot make " + name, errno);
        }
        writeAll(file.get(), content, name);
        if (fsync(file.get()) != 0) {
            throw Failure::ofSystem("cannot write " + name, errno);
        }
    }

  private:
    Held held_;
    std::string name_;
    std::string beside_;
};

// The names in a folder.
class Listing {
  public:
    explicit Listing(int folder) : entries_(fdopendir(fcntl(folder, F_DUPFD_CLOEXEC, 0))) {
        if (entries_ == nullptr) {
            throw Failure::ofSystem("cannot read the folder", errno);
        }
    }
    Listing(const Listing&) = delete;
    Listing& operator=(const Listing&) = delete;
    ~Listing() { closedir(entries_); }

    // Empty at the end.
    std::string next() const {
        const dirent* const entry = readdir(entries_);
        return entry == nullptr ? "" : entry->d_name;
    }

  private:
    DIR* entries_;
};

void readEntries(Descriptor folder, const std::string& prefix, Intake& intake);

// Judged by what was opened, which no link led to and no pipe held up.
void readEntry(int folder, const std::string& entry, const std::string& name, Intake& intake) {
    Descriptor file(openat(folder, entry.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat about {};
    if (file.get() < 0 || fstat(file.get(), &about) != 0) {
        throw Failure::ofSystem("cannot open " + name + ", or it is a link", errno);
    }
    if (S_ISDIR(about.st_mode)) {
        intake.addDirectory(name);
        readEntries(std::move(file), name + "/", intake);
    } else if (S_ISREG(about.st_mode) && about.st_nlink == 1) {
        intake.addFile(name, readAll(file.get(), Intake::longest(name), name));
    } else {
        throw Failure(name + " is a device, a pipe or a file with a second name");
    }
}

void readEntries(Descriptor folder, const std::string& prefix, Intake& intake) {
    const Listing listing(folder.get());
    for (std::string name = listing.next(); !name.empty(); name = listing.next()) {
        if (name != "." && name != "..") {
            readEntry(folder.get(), name, prefix + name, intake);
        }
    }
}

}  // namespace

void requireNewFolder(const std::string& name) {
    std::error_code error;
    const bool isThere = std::filesystem::exists(name, error);
    if (isThere &&
        !(std::filesystem::is_directory(name, error) && std::filesystem::is_empty(name, error))) {
        throw Failure(name + " exists already: name a new folder, or an empty one");
    }
}

void writeFolder(const std::string& name, const Tree& tree) {
    NewFolder folder(name);
    putTree(tree, folder);
    folder.commit();
}

void readFolder(const std::string& name, Intake& intake) {
    Descriptor folder(open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.get() < 0) {
        throw Failure::ofSystem("cannot open " + name, errno);
    }
    readEntries(std::move(folder), "", intake);
}

}  // namespace tools
