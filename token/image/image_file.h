#pragma once

#include <cstdint>
#include <string>

#include "token/image/image_place.h"
#include "token/image/sql.h"

namespace token {

// Which file it is, by whatever name.
struct FileIdentity {
    std::uint64_t device;
    std::uint64_t file;

    bool operator==(const FileIdentity&) const = default;
};

// The image as a file: where it is, whether it is one, and its making. All throw Fault.

// What is to be done where there is no image.
enum class Missing { make, refuse };

// The image's real path, free of links, whether or not there is a file yet. Makes the default
// place's folders, with mode 0700, if a missing image is to be made.
std::string realImagePath(const ImagePlace& place, Missing missing);

// False if there is no file at the real path. A Fault for a file that is anything but a token image
// of this version with one name; it is not written.
bool isImage(const std::string& path);
// A Fault unless isImage.
void needImage(const std::string& path);

FileIdentity identityOf(const std::string& path);

// Makes a fresh image at the real path, with mode 0600: whole or not at all, and never in place of
// another file. The caller keeps other makers out.
void makeImage(const std::string& path);

// What the names of the files end in that SQLite keeps beside an image. After a crash they are a
// part of it.
constexpr const char* companionEndings[] = {"-journal", "-wal", "-shm"};

// Whether a file has one of these names, or that of the lock file or of a replaced image.
bool isCompanion(const std::string& imagePath, const std::string& file);

// Removes what an image that is gone has left beside its place: it would be taken for the next
// one's.
void removeLeftovers(const std::string& path);

// The database of an image, which may be damaged or hostile. Only for reading where it cannot be
// written.
Database openImage(const std::string& path);
// Waits for writers. From then on all that is read is of one state, and they wait.
void beginReading(Database& database);

}  // namespace token
