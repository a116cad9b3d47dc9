#include "token/open_token.h"

#include "token/image_file.h"

namespace token {
namespace {

// A file that is no image is refused before a lock file comes to stand beside it.
const std::string& looked(const std::string& path) {
    isImage(path);
    return path;
}

}  // namespace

OpenToken::OpenToken(const std::string& path) : lockFile_(looked(path)) {
    const LockFile::Connecting connecting(lockFile_);
    if (!isImage(path)) {
        makeImage(path);
    }
    image_.emplace(path);
    power_.emplace(lockFile_, *image_);
    token_.emplace(*image_);
}

}  // namespace token
