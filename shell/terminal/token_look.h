#pragma once

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Components/qv_aid/qv_file_info.h"

namespace ksigil {

// Looks at the token's tree on a thread and a connection of its own, for the terminal alone. It
// prints nothing, and waits half a second at most. A look that takes longer is given up: its answer
// is dropped, and it gives the token back as soon as it gets it.
class TokenLook {
  public:
    TokenLook() = default;
    TokenLook(const TokenLook&) = delete;
    TokenLook& operator=(const TokenLook&) = delete;
    ~TokenLook();

    // The children of the directory; nothing if they cannot be had in time. What was just read is
    // not read again.
    std::optional<std::vector<QVFileInfo>> children(const std::string& path);

    // Drops the listing that was read, which may hold no longer.
    void forget() { known_.reset(); }

  private:
    struct Known {
        std::string path;
        std::vector<QVFileInfo> children;
        std::chrono::steady_clock::time_point since;
    };
    struct Look;

    std::optional<Known> known_;
    std::shared_ptr<Look> running_;
};

struct Subtree {
    std::size_t objects = 0;  // without the directory itself
    bool isCounted = true;    // there may be more of them otherwise
};

// The children of the directory, found on the calling thread's connection under its lock, for which
// it waits as a command does. Nothing if the path leads to no directory.
std::optional<Subtree> subtreeOf(const std::string& path);

}  // namespace ksigil
