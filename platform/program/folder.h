#pragma once

#include <memory>
#include <string>

#include "platform/program/descriptor.h"

// Folders off the token. Failures as those of files.
namespace platform {

// Makes a folder for its user alone and puts an ending of its own behind its name.
bool makeFolderBeside(std::string& name);
bool makeFolder(const std::string& name);
// Gives a folder the name `to`, which may be that of an empty one.
bool replaceFolder(const std::string& from, const std::string& to);
// Removes a folder with all that is under it, following no link.
void removeFolder(const std::string& name);
// Whether the name leads to a folder; whether there is anything of that name.
bool isFolder(const std::string& name);
bool isThere(const std::string& name);

class Folder;

// What an entry of a folder turned out to be when it was opened.
struct Opened {
    std::unique_ptr<Folder> folder;
    Descriptor file;  // a regular one that has one name
    bool isOther = false;
};

class Folder {
  public:
    virtual ~Folder() = default;

    // The names in it, but for "." and ".."; empty at the end, where errno is 0, and at a failure.
    virtual std::string next() = 0;
    // Opens an entry. No link is followed, and no pipe waited for.
    virtual Opened open(const std::string& name) = 0;
};

// Null where it is none that can be read. A link is followed here.
std::unique_ptr<Folder> openFolder(const std::string& name);

}  // namespace platform
