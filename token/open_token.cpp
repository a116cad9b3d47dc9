#include "token/open_token.h"

#include "token/fault.h"
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
    lockFile_.shareWithOwnerOf(path);
    // Power first: it refuses an image that took the place of the one that is powered, before the
    // database touches it.
    power_.emplace(lockFile_, identityOf(path));
    try {
        image_.emplace(path);
    } catch (const Fault& fault) {
        throw Fault("the image " + path + " cannot be used: " + fault.what());
    }
    token_.emplace(*image_);
}

}  // namespace token
