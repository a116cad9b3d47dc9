#pragma once

#include <string>
#include <vector>

#include "token/base/secret.h"

namespace token {

// What is wrong with an image. A problem is a line that names its object by the path that the
// shell takes; "????" stands in it for what does not lead to the root.
struct Findings {
    std::vector<std::string> problems;  // none: the image is sound
    bool leftSealed = false;            // there is sealed content, and no key to open it
};

// Looks at all of the image at the real path, also while it is in use: what the database can find,
// what the token's rules can find and, under the image's key, sealed content that does not open.
// Throws Fault if there is no image or it cannot be locked; damage is a finding.
Findings check(const std::string& path, const SecretKey* secret);

}  // namespace token
