#include "tools/folder.h"

#include <cerrno>

#include "include/ksigil.h"
#include "platform/program/folder.h"
#include "platform/program/interrupt.h"
#include "tools/failure.h"
#include "tools/files.h"
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
        beside_ = name_;
        if (!platform::makeFolderBeside(beside_)) {
            throw Failure::ofSystem("cannot make " + name, errno);
        }
    }
    NewFolder(const NewFolder&) = delete;
    NewFolder& operator=(const NewFolder&) = delete;
    ~NewFolder() {
        if (!beside_.empty()) {
            platform::removeFolder(beside_);
        }
    }

    void commit() {
        if (!platform::replaceFolder(beside_, name_)) {
            throw Failure::ofSystem("cannot make " + name_, errno);
        }
        beside_.clear();
    }

    void addFolder(const std::string& name) override {
        if (!platform::makeFolder(beside_ + "/" + name)) {
            throw Failure::ofSystem("cannot make " + name, errno);
        }
    }

    void addFile(const std::string& name, std::span<const std::uint8_t> content) override {
        if (platform::isInterrupted()) {
            throw Failure("cannot make " + name_, KSIGIL_CANCELLED);
        }
        const platform::Descriptor file = platform::makeFile(beside_ + "/" + name);
        if (!file.isOpen()) {
            throw Failure::ofSystem("cannot make " + name, errno);
        }
        writeAll(file.get(), content, name);
        if (!platform::sync(file)) {
            throw Failure::ofSystem("cannot write " + name, errno);
        }
    }

  private:
    platform::Held held_;
    std::string name_;
    std::string beside_;
};

void readEntries(platform::Folder& folder, const std::string& prefix, Intake& intake) {
    for (std::string entry = folder.next(); !entry.empty(); entry = folder.next()) {
        const std::string name = prefix + entry;
        const platform::Opened opened = folder.open(entry);
        if (opened.folder != nullptr) {
            intake.addDirectory(name);
            readEntries(*opened.folder, name + "/", intake);
        } else if (opened.file.isOpen()) {
            intake.addFile(name, readAll(opened.file.get(), Intake::longest(name), name));
        } else if (opened.isOther) {
            throw Failure(name + " is a link, a device, a pipe or a file with a second name");
        } else {
            throw Failure::ofSystem("cannot open " + name + ", or it is a link", errno);
        }
    }
    if (errno != 0) {
        throw Failure::ofSystem("cannot read the folder " + prefix, errno);
    }
}

}  // namespace

void requireNewFolder(const std::string& name) {
    const auto isEmpty = [&name] {
        const std::unique_ptr<platform::Folder> folder = platform::openFolder(name);
        return folder != nullptr && folder->next().empty() && errno == 0;
    };
    if (platform::isThere(name) && !isEmpty()) {
        throw Failure(name + " exists already: name a new folder, or an empty one");
    }
}

void writeFolder(const std::string& name, const Tree& tree) {
    NewFolder folder(name);
    putTree(tree, folder);
    folder.commit();
}

void readFolder(const std::string& name, Intake& intake) {
    const std::unique_ptr<platform::Folder> folder = platform::openFolder(name);
    if (folder == nullptr) {
        throw Failure::ofSystem("cannot open " + name, errno);
    }
    readEntries(*folder, "", intake);
}

}  // namespace tools
