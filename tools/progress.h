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

    // The run has so many steps in all, bytes as a rule; 0 where it does not know.
    void expect(std::uint64_t total) { total_ = total; }
    // So many are done, beside those of the operation that runs.
    void add(std::uint64_t steps) { before_ += steps; }
    // So many of the operation that runs are done, of `total`; 0 where that is not known.
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
