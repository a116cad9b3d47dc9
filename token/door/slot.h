#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "token/door/connection.h"
#include "token/image/image_place.h"

namespace token {

// The place where a software token is in its reader or not. Whether it is stands in the image. The
// operations give their reason in `why` when they are not good. Only a connection makes an image
// where there is none; the others are then unusable. Any thread may call.
class Slot {
  public:
    explicit Slot(ImagePlace place) : place_(std::move(place)) {}

    const ImagePlace& place() const { return place_; }

    // Opens a connection; the first one powers the token. unusable, served or absent on failure.
    Outcome connect(std::unique_ptr<Connection>& connection, std::string& why);

    // Takes the token out of its reader until it is inserted again: open connections meet
    // `removed`, new ones `absent`. Waits for nobody. unusable on failure.
    Outcome remove(std::string& why);
    Outcome insert(std::string& why);

    // Ends selection, login and everybody's transaction, if the token is powered. Waits for nobody.
    // unusable on failure.
    Outcome reset(bool& wasPowered, std::string& why);

  private:
    std::shared_ptr<OpenToken> openToWork();
    std::shared_ptr<OpenToken> openToLookAfter();
    Outcome setPresent(bool present, std::string& why);

    ImagePlace place_;
    std::mutex mutex_;
    std::weak_ptr<OpenToken> token_;  // its connections own it
};

}  // namespace token
