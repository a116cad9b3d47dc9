#include "token/rules/login.h"

#include "token/base/fault.h"

namespace token {
namespace {

void setFailures(Image& image, std::uint32_t failures, const Image::Fence& fence) {
    Image::Change change(image);
    image.setFailures(failures);
    change.commit(fence);
}

}  // namespace

std::optional<WipedKey> logIn(Image& image, Bytes password, const Image::Fence& fence) {
    PasswordRecord record;
    {
        // Counted before it is judged, so that no end of the power forgets a failure.
        Image::Change change(image);
        record = image.password();
        if (!image.countFailedLogin()) {
            return std::nullopt;
        }
        change.commit(fence);
    }
    try {
        std::optional<WipedKey> key = unwrap(record, password, image.serial());
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

}  // namespace token
