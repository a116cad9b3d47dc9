#pragma once

#include <string>

namespace token {

// A file in the making, with mode 0600, under a name for the time being. It goes again unless it is
// given its own. All throw Fault.
class NewFile {
  public:
    // Makes the empty file in the folder of the one that it is to become.
    explicit NewFile(const std::string& future);
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    ~NewFile();

    const std::string& path() const { return path_; }

    // Syncs the content and gives the file its own name, in the same folder. On failure it has not
    // got it. The new name is durable once the folder is synced.
    void nameOnly(const std::string& path);  // there must be no such file
    void nameOver(const std::string& path);  // in place of one that may be there

  private:
    void name(const std::string& path, unsigned flags);

    std::string path_;
    bool named_ = false;
};

// Makes the names in a file's folder durable.
void syncFolderOf(const std::string& path);

}  // namespace token
