#pragma once

#include <set>
#include <string>
#include <vector>

#include "tools/report.h"
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

    // The keys that were made, and are without a value.
    const Tree& madeKeys() const { return madeKeys_; }

  private:
    enum class Step { make, replace, leave };

    struct Work {
        Step step = Step::make;
        std::uint32_t old = 0;  // the size of the file that is replaced
        const char* done = "";
    };

    void plan();
    Work workFor(const Item& item);
    void carryOut(const Item& item, Step step);

    Session& session_;
    std::string root_;
    const Tree& tree_;
    bool overExisting_;
    Report& report_;
    std::set<std::string> directories_;  // those of the tree that are there
    bool isPlanned_ = false;
    std::vector<Work> plan_;
    std::size_t done_ = 0;
    Tree madeKeys_;
};

}  // namespace tools
