#pragma once

#include <string>

namespace token {

// Puts a checked copy of a backup in the place of the image at a real path, whatever is there, or
// makes the image of it. Throws Fault if the token is powered, or the backup is damaged, and then
// nothing has changed.
//
// An end of the process at any moment leaves the old image whole or the new one whole. Where it
// comes while both are there, the old one goes by two names, its own and PATH.replaced: nobody
// connects to it until the restoring is repeated.
//
// If what was there cannot be read as an image, it is kept, and the result is where; else empty.
std::string restore(const std::string& path, const std::string& file);

}  // namespace token
