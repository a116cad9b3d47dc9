#pragma once

#include <string>

#include "token/image/sql.h"

namespace token {

// A copy of an image in memory, as it was at one moment, with what its log held.
struct ImageCopy {
    Database database;
    bool isInUse;  // somebody was connected
    bool hasLog;   // it stood beside the image
};

// Copies the image at a real path, also while it is in use, and where nothing can be written. The
// image's users are held up for no longer than this takes. Of an image that nobody uses neither it
// nor its log is touched. Throws Fault; it is Damage where the content is to blame.
ImageCopy copyImage(const std::string& path);

// The same, checked: throws Fault for a damaged image too.
ImageCopy copySoundImage(const std::string& path);

// Takes into the image what its log holds, and cuts that off, if there is anybody who can have made
// one. Waits for those who read. Throws Fault.
void emptyLogOf(const std::string& path);

}  // namespace token
