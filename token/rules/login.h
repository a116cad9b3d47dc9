#pragma once

#include <optional>
#include <string>

#include "token/base/bytes.h"
#include "token/base/secret.h"
#include "token/image/image.h"

namespace token {

// The image's key, if the password opens it. A login counts as failed, durably, before it is
// judged; a right one clears the count. Ten failed ones in a row block the password: then nothing
// opens. An image of version 1 is sealed at its first right login. Throws Fault.
std::optional<PassingKey> logIn(Image& image, Bytes password, const Image::Fence& fence);

// For those who look after the image at a real path, powered or not. All throw Fault.

// The key, by a login as above that logs nobody in. A Fault says why it was refused.
PassingKey keyByPassword(const std::string& path, Bytes password);

// The key of a token that is powered and logged in. Powers nothing.
std::optional<PassingKey> keyOfPowered(const std::string& path);

// Sets the count of failed logins to 0.
void unblock(const std::string& path);

}  // namespace token
