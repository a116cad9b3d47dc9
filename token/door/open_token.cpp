#include "token/door/open_token.h"

#include "token/base/fault.h"
#include "token/image/image_header.h"
#include "token/image/make_image.h"

namespace token {
namespace {

// A Fault where there is none and has to be one.
bool isThere(const std::string& path, Use use) {
    if (use != Use::work) {
        needImage(path);
        return true;
    }
    return isImage(path);
}

// A file that is no image is refused before a lock file comes to stand beside it.
const std::string& looked(const std::string& path, Use use) {
    if (!LockFile::isBeside(path)) {
        isThere(path, use);
    }
    return path;
}

}  // namespace

void needUnserved(const LockFile& lockFile, const std::string& path) {
    if (lockFile.isServed()) {
        throw Served("the image " + path + " is served to a reader by process " +
                     std::to_string(lockFile.server()) +
                     " (ksigil-token serve): work through that reader, or end it");
    }
}

OpenToken::OpenToken(const std::string& path, Use use) : lockFile_(looked(path, use)) {
    const LockFile::ConnectLock connectLock(lockFile_);
    if (use == Use::work) {
        needUnserved(lockFile_, path);
    }
    if (!isThere(path, use)) {
        needNoUserLeft(lockFile_, path);
        makeImage(path);
    }
    // Power first: it refuses an image that took the place of the one that is powered, before the
    // database touches it.
    power_.emplace(lockFile_, identityOf(path));
    try {
        image_.emplace(path);
    } catch (const Fault& fault) {
        throw Fault("the image " + path + " cannot be used: " + fault.what());
    }
    rules_.emplace(*image_);
}

}  // namespace token
