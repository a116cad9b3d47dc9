#pragma once

#include <map>
#include <optional>
#include <string>

#include "tools/tree.h"

namespace tools {

// A tree that comes from outside, file by file, in any order. All that it cannot be is refused,
// with Failure: other names, a name twice, too many, files that are too long; at the end a file
// without its object or an object without its file.
class Intake {
  public:
    void addDirectory(const std::string& name);

    // How long the file of that name may be; then the file itself, which is no longer.
    static std::size_t longest(const std::string& name);
    void addFile(const std::string& name, Bytes content);

    Tree finish();

  private:
    struct Found {
        bool isDirectory = false;
        Bytes content;
    };

    void add(const std::string& name, Found found);

    std::map<std::string, Found> found_;  // by their names, in lower case
    std::optional<std::string> manifest_;
};

}  // namespace tools
