#include "token/care/create.h"

#include "token/image/make_image.h"
#include "token/image/new_file.h"
#include "token/power/lock_file.h"

namespace token {

void createToken(const std::string& path) {
    needNothingAt(path);
    const LockFile lockFile(path);
    const LockFile::ConnectLock connectLock(lockFile);
    needNothingAt(path);
    needNoUserLeft(lockFile, path);
    makeImage(path);
}

}  // namespace token
