#pragma once

#include <string>

#include "token/base/file.h"

namespace token {

// Judges a file by its first bytes and its names, before the database works on it. It is not
// written. All throw Fault.

// False if there is no file at the real path. A Fault for a file that is anything but a token image
// of this version with one name.
bool isImage(const std::string& path);

// A Fault unless isImage.
void needImage(const std::string& path);

// Of the file that is there. A Fault if there is none.
FileIdentity identityOf(const std::string& path);

}  // namespace token
