#include "token/image/new_file.h"

#include <filesystem>

#include "token/base/fault.h"
#include "token/base/system.h"

namespace token {

NewFile::NewFile(const std::string& future) {
    needSuccess(system().makeFileBeside(future, path_, file_), "cannot make", future);
    const int error = system().giveToOwnerOf(future, file_);
    if (error != 0) {
        system().remove(path_);
        throw systemFault("cannot make", future, error);
    }
}

NewFile::~NewFile() {
    if (!published_) {
        system().remove(path_);
    }
}

void NewFile::write(Bytes content) {
    needSuccess(system().writeStart(file_, std::as_bytes(content)), "cannot write", path_);
}

void NewFile::publishNew(const std::string& path) {
    needSuccess(system().syncFile(path_), "cannot write", path_);
    needSuccess(system().renameToNew(path_, path), "cannot make", path);
    published_ = true;
}

void NewFile::publishOver(const std::string& path) {
    needSuccess(system().syncFile(path_), "cannot write", path_);
    needSuccess(system().renameOver(path_, path), "cannot make", path);
    published_ = true;
}

void needNothingAt(const std::string& path) {
    FileFacts facts;
    needSuccess(system().look(path, Links::stopAt, facts), "cannot look at", path);
    if (facts.kind != FileFacts::Kind::nothing) {
        throw Fault(path + " exists already");
    }
}

void syncFolderOf(const std::string& path) {
    const std::filesystem::path parent = std::filesystem::path(path).parent_path();
    const std::string folder = parent.empty() ? "." : parent.string();
    needSuccess(system().syncFolder(folder), "cannot write", folder);
}

}  // namespace token
