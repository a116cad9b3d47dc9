#pragma once

#include <memory>
#include <optional>
#include <string>

#include "token/door/connection.h"
#include "token/image/image_place.h"
#include "token/power/lock_file.h"

namespace token {

// A token that belongs to a reader: nobody else works on its image while this object lives, though
// anybody may look after it. The reader switches its power. Calls do not overlap.
class ServedToken {
  public:
    // Makes a missing image. Throws Fault, also while somebody works on the image, and Served where
    // another serves it.
    explicit ServedToken(const ImagePlace& place);

    const std::string& path() const { return path_; }

    // Whether it was left in its reader. Throws Fault.
    bool isInReader() const;
    // Whether it was reset, or taken out, since it was powered, and not by its reader.
    bool isDisturbed() const { return connection_ && connection_->look() != Outcome::good; }

    // Powering a powered token, or switching off one that is not, changes nothing. A reset powers
    // it too. powerOn and reset throw Fault.
    void powerOn();
    void powerOff() { connection_.reset(); }
    void reset();

    // Powers the token if need be, and gives its reply, or nothing where the token was disturbed. A
    // failure of the image is the reply 0x6581.
    std::optional<Buffer> answer(Bytes command);

  private:
    std::string path_;
    LockFile lockFile_;
    std::unique_ptr<Connection> connection_;  // while it has power
};

}  // namespace token
