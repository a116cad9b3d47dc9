#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <string_view>

#include "include/basic_types.h"
#include "include/log_words.h"

namespace ksigil {

// One line of the trace, in a buffer that holds the longest:
//   1234      56        QVPassword::login: entered
// The process, the thread and the label are padded to 10 characters each; a longer one stands
// whole.
class LogLine {
  public:
    LogLine(LogText label, LogText text);

    void addNumber(LogForm form, u32 value);
    void addPath(LogPath path) { add(path.text()); }

    // The whole line; nothing is added to it after this.
    std::string_view end();

  private:
    void add(std::string_view text);
    template <std::integral Number>
    void addDigits(Number value, int base = 10);
    void padField(std::size_t start);

    std::array<char, 1280> buffer_;
    std::size_t length_ = 0;
};

}  // namespace ksigil
