#pragma once

#include <optional>
#include <string>

#include "token/image.h"
#include "token/image_file.h"
#include "token/lock_file.h"
#include "token/power.h"
#include "token/token.h"

namespace token {

// A token that this process uses: its locks, its image, its power and its rules.
class OpenToken {
  public:
    // `path` is the image's real path; `missing` says what is done if there is none. Throws Fault.
    OpenToken(const std::string& path, Missing missing);

    const LockFile& lockFile() const { return lockFile_; }
    Image& image() { return *image_; }
    Power& power() { return *power_; }
    Token& token() { return *token_; }

  private:
    LockFile lockFile_;
    std::optional<Power> power_;
    std::optional<Image> image_;
    std::optional<Token> token_;
};

}  // namespace token
