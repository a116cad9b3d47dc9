#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "token/base/bytes.h"

namespace token {

// An image as its owner may see it: all but contents. The values of a damaged image stand here as
// they are.
struct Overview {
    struct Entry {
        std::string path;  // in the shell's digits
        std::int64_t type, attribute, size;
    };

    std::int64_t version = 0;
    Buffer serial;
    bool present = false;
    bool powered = false;
    bool hasLog = false;  // a part of the image stands in the log beside it
    std::int64_t failedLogins = 0;
    std::vector<Entry> entries;  // the root first, each directory before its children
};

// Looks at the image at the real path, also while it is in use. Powers nothing. Throws Fault.
Overview overviewOf(const std::string& path);

}  // namespace token
