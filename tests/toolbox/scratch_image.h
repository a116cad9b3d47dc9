#pragma once

#include <cstdlib>
#include <filesystem>

#include "tests/toolbox/files.h"
#include "tests/toolbox/scratch_folder.h"
#include "token/image/make_image.h"

// Puts a fresh image at the path: a copy, of the build's if there is one, since the making of an
// image takes its time.
inline void putFreshImage(const std::string& path) {
    static const std::string fresh = [] {
        const char* const made = std::getenv("KSIGIL_TEST_IMAGE");
        if (made != nullptr && std::filesystem::exists(made)) {
            return contentOf(made);
        }
        const ScratchFolder folder;
        token::makeImage(folder.file("fresh.db"));
        return contentOf(folder.file("fresh.db"));
    }();
    put(path, fresh);
    std::filesystem::permissions(path, std::filesystem::perms(0600));
}
