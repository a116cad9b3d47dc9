#pragma once

#include <optional>
#include <string>

#include "token/image/image.h"
#include "token/power/lock_file.h"
#include "token/power/power.h"
#include "token/rules/token.h"

namespace token {

// A token is opened to work on it, which a server keeps others from; as its server; or to look
// after it, which anyone may at any time.
enum class Use { work, serve, lookAfter };

// Throws Served, with words that name the server, if there is one. The caller has a ConnectLock.
void needUnserved(const LockFile& lockFile, const std::string& path);

// A token that this process uses: its locks, its image, its power and its rules.
class OpenToken {
  public:
    // `path` is the image's real path. If there is none, only a working use makes one. Throws
    // Fault, Served for a working use of a served image.
    OpenToken(const std::string& path, Use use);

    Image& image() { return *image_; }
    Power& power() { return *power_; }
    Token& rules() { return *rules_; }

  private:
    LockFile lockFile_;
    std::optional<Power> power_;
    std::optional<Image> image_;
    std::optional<Token> rules_;
};

}  // namespace token
