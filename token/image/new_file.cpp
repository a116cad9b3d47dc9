#include "token/image/new_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "token/base/fault.h"
#include "token/base/file.h"

namespace token {
namespace {

void syncToDisk(const std::string& path, int flags) {
    const File file(open(path.c_str(), flags | O_CLOEXEC));
    if (!file.isOpen() || fsync(file.descriptor()) != 0) {
        throw systemFault("cannot write", path);
    }
}

}  // namespace

NewFile::NewFile(const std::string& future) : path_(future + ".XXXXXX") {
    const File file(mkostemp(path_.data(), O_CLOEXEC));
    if (!file.isOpen()) {
        throw systemFault("cannot make", future);
    }
    if (fchmod(file.descriptor(), 0600) != 0) {  // whatever the umask
        unlink(path_.c_str());
        throw systemFault("cannot make", future);
    }
}

NewFile::~NewFile() {
    if (!named_) {
        unlink(path_.c_str());
    }
}

void NewFile::nameOnly(const std::string& path) {
    name(path, RENAME_NOREPLACE);
}

void NewFile::nameOver(const std::string& path) {
    name(path, 0);
}

void NewFile::name(const std::string& path, unsigned flags) {
    syncToDisk(path_, O_RDONLY);
    if (renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, path.c_str(), flags) != 0) {
        throw systemFault("cannot make", path);
    }
    named_ = true;
}

void syncFolderOf(const std::string& path) {
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    syncToDisk(folder.empty() ? "." : folder, O_RDONLY | O_DIRECTORY);
}

}  // namespace token
