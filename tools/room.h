#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "tools/session.h"

namespace tools {

// The most bytes that changes need at a time, one after the other. It is looked at before the
// first.
class Room {
  public:
    void make(std::int64_t size) {
        used_ += size;
        needed_ = std::max(needed_, used_);
    }
    void remove(std::int64_t size) { used_ -= size; }

    // As replaceFile does it, and replaceInPlace.
    void replace(std::int64_t old, std::int64_t size) {
        make(size);
        remove(old);
        make(size);
        remove(size);
    }
    void replaceInPlace(std::int64_t old, std::int64_t size) {
        remove(old);
        make(size);
    }

    // Throws Failure, with a remedy, where the token has less.
    void require(Session& session, const std::string& remedy = "") const;

  private:
    std::int64_t used_ = 0;
    std::int64_t needed_ = 0;
};

}  // namespace tools
