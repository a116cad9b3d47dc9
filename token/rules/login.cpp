#include "token/rules/login.h"

#include "token/base/fault.h"
#include "token/image/image_file.h"
#include "token/image/limits.h"
#include "token/image/password.h"
#include "token/power/lock_file.h"
#include "token/power/power.h"

namespace token {
namespace {

// The image's key under a new wrapping of the password, its content sealed. Somebody else may have
// sealed it since it was looked at.
std::optional<PassingKey> sealed(Image& image, Bytes password, const Image::Fence& fence) {
    const PassingKey key = freshKey();
    const PasswordRecord record = wrap(key, password, image.serial());
    {
        Image::Change change(image);
        if (!image.isUnsealed()) {
            return unwrap(image.password(), password, image.serial());
        }
        image.seal(record, key);
        change.commit(fence);
    }
    image.sweep();
    return key;
}

std::optional<PassingKey> openedBy(Image& image, Bytes password, const PasswordRecord& record,
                                   bool isUnsealed, const Image::Fence& fence) {
    if (!isUnsealed) {
        return unwrap(record, password, image.serial());
    }
    return isPasswordOf(record, password) ? sealed(image, password, fence) : std::nullopt;
}

void setFailures(Image& image, std::uint32_t failures, const Image::Fence& fence) {
    Image::Change change(image);
    image.setFailures(failures);
    change.commit(fence);
}

}  // namespace

std::optional<PassingKey> logIn(Image& image, Bytes password, const Image::Fence& fence) {
    PasswordRecord record;
    bool isUnsealed = false;
    {
        // Counted before it is judged, so that no end of the power forgets a failure.
        Image::Change change(image);
        record = image.password();
        isUnsealed = image.isUnsealed();
        if (!image.countLogin()) {
            return std::nullopt;
        }
        change.commit(fence);
    }
    try {
        std::optional<PassingKey> key = openedBy(image, password, record, isUnsealed, fence);
        if (key) {
            setFailures(image, 0, fence);
        }
        return key;
    } catch (const Fault&) {
        // No judgement, no failure.
        setFailures(image, record.failures, fence);
        throw;
    }
}

PassingKey keyByPassword(const std::string& path, Bytes password) {
    needImage(path);
    const LockFile lockFile(path);
    const LockFile::Connecting connecting(lockFile);
    Image image(path);
    std::optional<PassingKey> key = logIn(image, password, Image::always);
    if (!key) {
        const std::uint32_t failures = image.password().failures;
        throw Fault(failures >= mostFailures
                        ? "the password is blocked: too many logins have failed"
                        : "the password is wrong; failed logins in a row: " +
                              std::to_string(failures) + " of " + std::to_string(mostFailures));
    }
    return *key;
}

std::optional<PassingKey> keyOfPowered(const std::string& path) {
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
    return loaded && session.loggedIn ? std::optional<PassingKey>(session.key) : std::nullopt;
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
