#pragma once

#include <cstdint>
#include <string>

#include "token/image_place.h"

namespace token {

// Which file it is, by whatever name.
struct FileIdentity {
    std::uint64_t device;
    std::uint64_t file;

    bool operator==(const FileIdentity&) const = default;
};

// The image as a file: where it is, whether it is one, and its making. All throw Fault.

// The image's real path, free of links, whether or not there is a file yet. Makes the default
// place's folders, with mode 0700.
std::string realImagePath(const ImagePlace& place);

// False if there is no file at the real path. A Fault for a file that is anything but a token image
// of this version with one name; it is not written.
bool isImage(const std::string& path);

FileIdentity identityOf(const std::string& path);

// Makes a fresh image at the real path, with mode 0600: whole or not at all, and never in place of
// another file. The caller keeps other makers out.
void makeImage(const std::string& path);

}  // namespace token
