#include "token/care/create.h"

#include <filesystem>

#include "token/base/fault.h"
#include "token/image/image_file.h"
#include "token/power/lock_file.h"

namespace token {
namespace {

void needNothing(const std::string& path) {
    if (std::filesystem::exists(std::filesystem::symlink_status(path))) {
        throw Fault(path + " exists already");
    }
}

}  // namespace

void createImage(const std::string& path) {
    needNothing(path);
    const LockFile lockFile(path);
    const LockFile::Connecting connecting(lockFile);
    needNothing(path);
    makeImage(path);
}

}  // namespace token
