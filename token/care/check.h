#pragma once

#include <string>
#include <vector>

#include "token/base/secret.h"
#include "token/image/sql.h"

namespace token {

// The damage that was found in an image. A problem is a line that names its object by the path that
// the shell takes; "????" stands in it for a missing way to the root.
struct Findings {
    std::vector<std::string> problems;  // none: the image is sound
    bool leftSealed = false;            // there is sealed content, and no key to open it
};

// Looks at all of the image at the real path, also while it is in use, by the database's own check
// and by the token's rules. With the image's key it opens sealed content too. Throws Fault if there
// is no image or it cannot be locked; damage is a finding.
Findings check(const std::string& path, const SecretKey* secret);

// The same of the copy of an image in memory.
Findings check(Database& copy, const SecretKey* secret);

}  // namespace token
