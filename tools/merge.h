#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/report.h"
#include "tools/room.h"
#include "tools/session.h"
#include "tools/tree.h"

namespace tools {

// Brings a tree into a directory of the token. First all is looked at, and refused with Failure if
// a part of it could not be brought in; only then the token is changed.
class Merge {
  public:
    // Without `overExisting` nothing may be there of what is to come.
    Merge(Session& session, const std::string& root, const Tree& tree, bool overExisting,
          Report& report);

    // Begins, or goes on behind the object where it was stopped for want of a login.
    void run();

    // Those of the tree that are on the token, made now or before.
    const Tree& keysWithoutValue() const { return keysWithoutValue_; }

  private:
    enum class Step { make, replace, leave };

    struct Work {
        Step step = Step::make;
        ksigil_object old{};  // what is there
        const char* done = "";
    };

    // A directory as it is to be when the item that is planned has its turn.
    struct Directory {
        bool isGuarded = false;
        std::map<std::uint16_t, ksigil_object> children;
    };

    // What the changes need in all.
    struct Needs {
        Room room;
        std::uint64_t bytes = 0;
        bool isLogin = false;
    };

    void plan();
    void planItem(const Item& item, Needs& needs);
    void noteWhatIsThere(const Item& item, const ksigil_object& there);
    Work workFor(const Item& item, const Directory& directory);
    void requirePlace(const Item& item, const Work& work, const Directory& directory) const;
    Directory directoryAt(const std::string& path, std::uint8_t attribute);
    void carryOut(const Item& item, Step step);

    Session& session_;
    std::string root_;
    const Tree& tree_;
    bool overExisting_;
    Report& report_;
    std::map<std::string, Directory> directories_;  // by the paths of their items
    bool isPlanned_ = false;
    std::vector<Work> plan_;
    std::size_t done_ = 0;
    Tree keysWithoutValue_;
};

}  // namespace tools
