#pragma once

#include <optional>

#include "token/base/bytes.h"
#include "token/base/secret.h"
#include "token/image/image.h"

namespace token {

// The image's key, if the password opens it. A login counts as failed, durably, before it is
// judged; a right one clears the count. Ten failed ones in a row block the password: then nothing
// opens. Throws Fault.
std::optional<WipedKey> logIn(Image& image, Bytes password, const Image::Fence& fence);

}  // namespace token
