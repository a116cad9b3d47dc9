#include "token/door/slot.h"

#include "token/base/fault.h"
#include "token/image/image_file.h"

namespace token {

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

Outcome Slot::remove(std::string& why) {
    return setPresent(false, why);
}

Outcome Slot::insert(std::string& why) {
    return setPresent(true, why);
}

Outcome Slot::setPresent(bool present, std::string& why) {
    try {
        const std::shared_ptr<OpenToken> token = openToLookAfter();
        if (!present) {
            // Before the image, so that no change of before comes behind it; and after, for those
            // who looked in between.
            token->power().removeCard();
        }
        Image::Change change(token->image());
        token->image().setPresent(present);
        change.commit(Image::always);
        if (!present) {
            token->power().removeCard();
        }
        return Outcome::good;
    } catch (const Fault& fault) {
        why = fault.what();
        return Outcome::unusable;
    }
}

Outcome Slot::reset(bool& wasPowered, std::string& why) {
    try {
        const std::string path = realImagePath(place_, Missing::refuse);
        needImage(path);
        wasPowered = isPowered(path);
        if (wasPowered) {
            openToLookAfter()->power().reset();
        }
        return Outcome::good;
    } catch (const Fault& fault) {
        why = fault.what();
        return Outcome::unusable;
    }
}

}  // namespace token
