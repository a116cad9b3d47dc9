#pragma once

#include <string>
#include <vector>

namespace ksigil {

// The lines of earlier sessions, in a file that several shells share. What goes wrong with it costs
// only the keeping.
class History {
  public:
    static constexpr std::size_t mostLines = 1000;

    // In $XDG_STATE_HOME/ksigil/history, else in ~/.local/state. Without a place it keeps nothing.
    History();

    // The last lines, the oldest first. Cuts the file down to them.
    std::vector<std::string> load() const;

    // Puts a line of UTF-8 without control characters behind the others.
    void append(const std::string& line) const;

  private:
    std::string path_;
};

}  // namespace ksigil
