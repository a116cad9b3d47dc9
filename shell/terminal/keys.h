#pragma once

#include <array>
#include <cstddef>

#include "shell/terminal/tty.h"

namespace ksigil {

// The keyboard: typed and pasted text, a character or a key at a time.
class Keys {
  public:
    // Keys that are no characters. Their numbers are those of control characters that no line can
    // hold.
    enum Key : wchar_t {
        up = 0x80,
        down,
        left,
        right,
        home,
        end,
        remove,
        wordLeft,
        wordRight,
        refused,  // something that a line cannot hold: a control character, bytes that are no UTF-8
        redraw,   // the terminal has another size, or the program went on after a stop
    };

    // Waits for the next one. A line break, typed or pasted, is L'\n'; so is Ctrl-C and the
    // terminal's end, and the two flags then tell. Tty::Held stands.
    wchar_t next();

    bool isDropped() const { return isDropped_; }  // Ctrl-C, once
    bool hasEnded() const { return hasEnded_; }    // the terminal is gone
    bool isWhole() const { return isWhole_; }      // nothing was refused
    void startLine();

    // Notes that the line was refused something, and gives the key for it.
    wchar_t refuse();

  private:
    static constexpr int none = -1;

    // A byte, or none: the time is over, the line must be drawn anew, or a flag was set. Below 0
    // the time is without end.
    int byte(int milliseconds);
    wchar_t character(unsigned char first);
    wchar_t afterEscape();
    wchar_t sequence();
    int pause() const;  // milliseconds that the rest of a sequence may take

    std::array<unsigned char, 4096> bytes_{};
    std::size_t at_ = 0;
    std::size_t end_ = 0;
    bool isPasting_ = false;
    bool isRedrawDue_ = false;
    bool isDropped_ = false;
    bool hasEnded_ = false;
    bool isWhole_ = true;
};

}  // namespace ksigil
