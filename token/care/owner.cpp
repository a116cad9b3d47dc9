#include "token/care/owner.h"

#include "token/base/fault.h"
#include "token/image/image.h"
#include "token/image/image_header.h"
#include "token/image/limits.h"
#include "token/power/lock_file.h"
#include "token/power/power.h"
#include "token/rules/login.h"

namespace token {

WipedKey keyByPassword(const std::string& path, Bytes password) {
    needImage(path);
    const LockFile lockFile(path);
    const LockFile::ConnectLock connectLock(lockFile);
    Image image(path);
    std::optional<WipedKey> key = logIn(image, password, Image::always);
    if (!key) {
        const std::uint32_t failures = image.password().failures;
        throw Fault(failures >= mostFailures
                        ? "the password is blocked: too many logins have failed"
                        : "the password is wrong; failed logins in a row: " +
                              std::to_string(failures) + " of " + std::to_string(mostFailures));
    }
    return *key;
}

std::optional<WipedKey> keyOfPowered(const std::string& path) {
    if (!LockFile::isBeside(path)) {
        return std::nullopt;
    }
    const LockFile lockFile(path);
    const LockFile::ConnectLock connectLock(lockFile);
    if (!lockFile.isAnyUserThere()) {
        return std::nullopt;
    }
    Power power(lockFile, identityOf(path));
    Session session;
    const ScopedWipe wiping(session.key);
    const bool loaded = power.load(power.epoch(), session) == Power::Condition::good;
    return loaded && session.loggedIn ? std::optional<WipedKey>(session.key) : std::nullopt;
}

void unblock(const std::string& path) {
    needImage(path);
    const LockFile lockFile(path);
    const LockFile::ConnectLock connectLock(lockFile);
    Image image(path);
    Image::Change change(image);
    image.setFailures(0);
    change.commit(Image::always);
}

}  // namespace token
