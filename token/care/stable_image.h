#pragma once

#include <optional>
#include <string>

#include "token/power/lock_file.h"

namespace token {

// While it lives, the file at an image's path stays the same one: nobody restores over it, and
// nobody connects. Those who are connected go on. It makes no lock file: where there is none,
// nobody ever connected, and the image may lie where nothing can be written.
class StableImage {
  public:
    explicit StableImage(const std::string& imagePath) {
        if (LockFile::isBeside(imagePath)) {
            lockFile_.emplace(imagePath);
            connectLock_.emplace(*lockFile_);
        }
    }

  private:
    std::optional<LockFile> lockFile_;
    std::optional<LockFile::ConnectLock> connectLock_;
};

}  // namespace token
