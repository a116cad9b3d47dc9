#include "token/door/slot.h"

#include "token/base/fault.h"
#include "token/image/image_header.h"
#include "token/power/lock_file.h"

namespace token {
namespace {

void setPresent(Image& image, bool present) {
    Image::Change change(image);
    image.setPresent(present);
    change.commit(Image::always);
}

}  // namespace

std::shared_ptr<OpenToken> Slot::openToWork() {
    const std::lock_guard guard(mutex_);
    std::shared_ptr<OpenToken> token = token_.lock();
    if (!token) {
        token = std::make_shared<OpenToken>(realImagePath(place_, Missing::make), Use::work);
        token_ = token;
    }
    return token;
}

std::shared_ptr<OpenToken> Slot::openToLookAfter() {
    const std::lock_guard guard(mutex_);
    std::shared_ptr<OpenToken> token = token_.lock();
    return token ? token
                 : std::make_shared<OpenToken>(realImagePath(place_, Missing::refuse),
                                               Use::lookAfter);
}

Outcome Slot::connect(std::unique_ptr<Connection>& connection, std::string& why) {
    try {
        std::shared_ptr<OpenToken> token = openToWork();
        auto opened = std::make_unique<Connection>(token);
        if (!token->image().present()) {
            why = "the token was removed from its reader";
            return Outcome::absent;
        }
        connection = std::move(opened);
        return Outcome::good;
    } catch (const Served& served) {
        why = served.what();
        return Outcome::served;
    } catch (const Fault& fault) {
        why = fault.what();
        return Outcome::unusable;
    }
}

bool Slot::hasToken() {
    try {
        return openToLookAfter()->image().present();
    } catch (const Fault&) {
        return true;
    }
}

void Slot::remove() {
    const std::shared_ptr<OpenToken> token = openToLookAfter();
    // Connections are cut only when the image has it. One that looked at the image before did so
    // behind its look at the epoch, and is cut with the rest; one that looks later is refused.
    setPresent(token->image(), false);
    token->power().removeCard();
}

void Slot::insert() {
    setPresent(openToLookAfter()->image(), true);
}

bool Slot::reset() {
    const std::string path = realImagePath(place_, Missing::refuse);
    if (LockFile::isBeside(path) && Power::reset(LockFile(path))) {
        return true;
    }
    needImage(path);
    return false;
}

}  // namespace token
