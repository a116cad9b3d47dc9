#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace tools {

// How far a run is, on standard error: for what takes longer than half a second, and on a terminal
// only. The line goes with the object.
class Progress {
  public:
    Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() { clear(); }

    // From now on so many bytes are read or written in all.
    void expect(std::uint64_t total) {
        total_ = total;
        before_ = 0;
    }
    // So many are, beside those of the operation that runs.
    void add(std::uint64_t bytes) { before_ += bytes; }
    // The half second begins now.
    void restart();
    // So many bytes of the operation that runs are done, of `total`; where that is 0, so many
    // frames.
    void show(std::uint64_t done, std::uint64_t total);
    void clear();

  private:
    using Clock = std::chrono::steady_clock;

    bool onTerminal_;
    bool isShown_ = false;
    std::uint64_t total_ = 0;
    std::uint64_t before_ = 0;
    Clock::time_point next_;
};

}  // namespace tools
