#pragma once

#include <optional>
#include <string>

#include "token/power/lock_file.h"

namespace token {

// While it lives, the file at an image's path stays the same one: nobody restores over it, and
// nobody connects. Those who are connected go on. Where no lock file is, nobody ever connected, and
// none is made: the image may lie where nothing can be written.
class Undisturbed {
  public:
    explicit Undisturbed(const std::string& imagePath) {
        if (LockFile::isBeside(imagePath)) {
            lockFile_.emplace(imagePath);
            connecting_.emplace(*lockFile_);
        }
    }

  private:
    std::optional<LockFile> lockFile_;
    std::optional<LockFile::Connecting> connecting_;
};

}  // namespace token
