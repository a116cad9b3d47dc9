#pragma once

#include <string>

#include "token/base/file.h"
#include "token/base/system.h"

namespace token {

// Companions are the files beside an image. The database's log holds what is not in the image yet,
// and is a part of it; the log's index is worth nothing once nobody has the image open.

constexpr const char* logEnding = "-wal";
constexpr const char* indexEnding = "-shm";
constexpr const char* companionEndings[] = {logEnding, indexEnding};

// Whether a file has the name of a companion: one of the database's, the lock file, or an image
// that was set aside.
bool isCompanion(const std::string& imagePath, const std::string& file);

// Throws Fault where a lost image has left a log at its place, which would be taken for a part of
// the next one.
void needNoLog(const std::string& imagePath);

// Throws Fault unless the file is a regular one with one name, belongs to the image's owner or to
// this user, and is open to nobody else: the database takes it for a part of the image.
void needOwn(const std::string& file, const FileFacts& facts, const std::string& imagePath);

// Throws Fault unless each of the database's companions that is there is one's own, and where there
// is a rollback journal, which no image has: the database must take nothing from it.
void needOwnCompanions(const std::string& imagePath);

// How many bytes the log beside an image has.
std::uint64_t lengthOfLog(const std::string& imagePath);

// Removes the database's companions of an image that is gone.
void removeCompanions(const std::string& imagePath);

// Moves the database's companions from one image's name to another's, whichever there are. Throws
// Fault where one cannot be moved; the others are.
void moveCompanions(const std::string& from, const std::string& to);

}  // namespace token
