#pragma once

#include <string>

namespace token {

// Companions are the files beside an image. After a crash those of the database are a part of it.

// The ends of the names of the database's companions.
constexpr const char* companionEndings[] = {"-journal", "-wal", "-shm"};

// Whether a file has the name of a companion: one of the database's, the lock file, or an image
// that was set aside.
bool isCompanion(const std::string& imagePath, const std::string& file);

// Throws Fault where a lost image has left a journal at its place, which would be taken for a part
// of the next one.
void needNoJournal(const std::string& imagePath);

// Throws Fault unless each of the database's companions that is there is a regular file with one
// name, belongs to the image's owner or to this user, and can be written by nobody else: the
// database takes it for a part of the image. Refused as well is a journal that names another file,
// as none of an image does: the database would remove that file.
void needOwnCompanions(const std::string& imagePath);

// Removes the database's companions of an image that is gone.
void removeCompanions(const std::string& imagePath);

// Moves the database's companions from one image's name to another's, whichever there are. Throws
// Fault where one cannot be moved; the others are.
void moveCompanions(const std::string& from, const std::string& to);

}  // namespace token
