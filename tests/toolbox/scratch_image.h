#pragma once

#include <string>

#include "tests/toolbox/files.h"
#include "tests/toolbox/scratch_folder.h"
#include "token/image/make_image.h"

// Puts a fresh image at the path: a copy, since the making of one takes its time.
inline void putFreshImage(const std::string& path) {
    static const std::string fresh = [] {
        const ScratchFolder folder;
        token::makeImage(folder.file("fresh.db"));
        return contentOf(folder.file("fresh.db"));
    }();
    put(path, fresh);
    std::filesystem::permissions(path, std::filesystem::perms(0600));
}
