#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "token/door/connection.h"
#include "token/image/image_place.h"

namespace token {

// The place where a software token is in its reader or not. Whether it is stands in the image. Only
// a connection makes an image where there is none. Any thread may call.
class Slot {
  public:
    explicit Slot(ImagePlace place) : place_(std::move(place)) {}

    const ImagePlace& place() const { return place_; }

    // Opens a connection; the first one powers the token. unusable, served or absent on failure,
    // with the reason in `why`.
    Outcome connect(std::unique_ptr<Connection>& connection, std::string& why);

    // Whether a connection would find a token in the reader, be it of use or not. Makes no image.
    bool hasToken();

    // The rest throw Fault, also where there is no image.

    // Takes the token out of its reader until it is inserted again: open connections meet
    // `removed`, new ones `absent`.
    void remove();
    void insert();

    // Ends selection, login and everybody's transaction. False if the token is not powered. Needs
    // the powered state only, and no lock: one who was stopped in whatever he did holds it not up.
    bool reset();

  private:
    std::shared_ptr<OpenToken> openToWork();
    std::shared_ptr<OpenToken> openToLookAfter();

    ImagePlace place_;
    std::mutex mutex_;
    std::weak_ptr<OpenToken> token_;  // its connections own it
};

}  // namespace token
