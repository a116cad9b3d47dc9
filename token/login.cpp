#include "token/login.h"

#include "token/fault.h"
#include "token/image_file.h"
#include "token/limits.h"
#include "token/lock_file.h"
#include "token/password.h"
#include "token/power.h"

namespace token {
namespace {

std::optional<SecretKey> openedBy(Image& image, Bytes password, const PasswordRecord& record,
                                  const Image::Fence& fence) {
    if (!image.isUnsealed()) {
        return unwrap(record, password, image.serial());
    }
    if (!isPasswordOf(record, password)) {
        return std::nullopt;
    }
    const SecretKey key = freshKey();
    const PasswordRecord sealed = wrap(key, password, image.serial());
    {
        Image::Change change(image);
        image.seal(sealed, key);
        change.commit(fence);
    }
    image.sweep();
    return key;
}

}  // namespace

std::optional<SecretKey> logIn(Image& image, Bytes password, const Image::Fence& fence) {
    PasswordRecord record;
    {
        // Counted before it is judged, so that no end of the power forgets a failure.
        Image::Change change(image);
        record = image.password();
        if (!image.countLogin()) {
            return std::nullopt;
        }
        change.commit(fence);
    }
    const std::optional<SecretKey> key = openedBy(image, password, record, fence);
    if (key) {
        Image::Change change(image);
        image.setFailures(0);
        change.commit(fence);
    }
    return key;
}

SecretKey keyByPassword(const std::string& path, Bytes password) {
    needImage(path);
    const LockFile lockFile(path);
    const LockFile::Connecting connecting(lockFile);
    Image image(path);
    const std::optional<SecretKey> key = logIn(image, password, Image::always);
    if (!key) {
        const std::uint32_t failures = image.password().failures;
        throw Fault(failures >= mostFailures
                        ? "the password is blocked: too many logins have failed"
                        : "the password is wrong; failed logins in a row: " +
                              std::to_string(failures) + " of " + std::to_string(mostFailures));
    }
    return *key;
}

std::optional<SecretKey> keyOfPowered(const std::string& path) {
    if (!LockFile::isBeside(path)) {
        return std::nullopt;
    }
    const LockFile lockFile(path);
    const LockFile::Connecting connecting(lockFile);
    if (!lockFile.isAnyUserThere()) {
        return std::nullopt;
    }
    Power power(lockFile, identityOf(path));
    Session session;
    const Wiping wiping(session.key);
    const bool loaded = power.load(power.sight(), session) == Power::Condition::good;
    return loaded && session.loggedIn ? std::optional(session.key) : std::nullopt;
}

void unblock(const std::string& path) {
    needImage(path);
    const LockFile lockFile(path);
    const LockFile::Connecting connecting(lockFile);
    Image image(path);
    Image::Change change(image);
    image.setFailures(0);
    change.commit(Image::always);
}

}  // namespace token
