#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "token/base/system.h"
#include "token/power/lock_file.h"

namespace token {

// While it lives, the file at an image's path stays the same one: nobody restores over it, and
// nobody connects. Those who are connected go on. It makes no lock file: where there is none,
// nobody ever connected. Where nothing can be written, nobody can connect either, and it takes no
// lock.
class StableImage {
  public:
    explicit StableImage(const std::string& imagePath) {
        if (LockFile::isBeside(imagePath) && canConnect(imagePath)) {
            lockFile_.emplace(imagePath);
            connectLock_.emplace(*lockFile_);
        }
    }

    bool isLocked() const { return lockFile_.has_value(); }
    bool isInUse() const { return isLocked() && lockFile_->isAnyUserThere(); }

  private:
    static bool canConnect(const std::string& path) {
        return system().checkWritable(std::filesystem::path(path).parent_path()) == 0;
    }

    std::optional<LockFile> lockFile_;
    std::optional<LockFile::ConnectLock> connectLock_;
};

}  // namespace token
