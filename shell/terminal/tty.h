#pragma once

#include <csignal>

namespace ksigil {

// The terminal on standard input and output while the shell is worked at: it gives each key as it
// comes and shows none of them itself, brackets pastes, and sends signals for Ctrl-C and Ctrl-Z.
// One at a time. However the program ends, but for SIGKILL, the terminal is as it was before.
class Tty {
  public:
    // Whether standard input and output are terminals that can be edited on.
    static bool isThere();

    Tty();
    Tty(const Tty&) = delete;
    Tty& operator=(const Tty&) = delete;
    ~Tty();

    enum class Event { key, interrupt, redraw, timeUp };

    // Waits for a key to read, or the terminal's end; below 0 `milliseconds` are without end.
    // Ctrl-Z stops the program meanwhile, and it is to be drawn anew what stood on the screen, as
    // after a change of its size. While nobody waits here, Ctrl-C ends the program, as other
    // signals always do.
    static Event wait(int milliseconds);

    // While one of these lives, Ctrl-C, Ctrl-Z and a new size wait for `wait`.
    class Held {
      public:
        Held();
        Held(const Held&) = delete;
        Held& operator=(const Held&) = delete;
        ~Held();

      private:
        sigset_t before_;
    };
};

}  // namespace ksigil
