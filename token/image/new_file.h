#pragma once

#include <string>

#include "token/base/bytes.h"
#include "token/base/file.h"

namespace token {

// A file in the making, with mode 0600, under a name for the time being. It is removed unless it
// was published. Made by the superuser, it belongs to the owner of the file whose place it is to
// take. All throw Fault.
class NewFile {
  public:
    // Makes the empty file in the folder of the one that it is to become.
    explicit NewFile(const std::string& future);
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    ~NewFile();

    void write(Bytes content);

    // Sync the content and give the file its own name, in the same folder; on failure it has not
    // got it. The new name is durable once the folder is synced.
    void publishNew(const std::string& path);   // there must be no such file
    void publishOver(const std::string& path);  // in place of one that may be there

  private:
    std::string path_;
    File file_;
    bool published_ = false;
};

// Throws Fault if there is anything of that name, a link that leads nowhere too.
void needNothingAt(const std::string& path);

// Makes the names in a file's folder durable. Throws Fault.
void syncFolderOf(const std::string& path);

}  // namespace token
