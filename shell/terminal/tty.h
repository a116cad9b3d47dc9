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

    enum class Event { key, interrupt, resized, resumed };

    // Waits until there is a key to read (or the terminal's end), or a signal has come. Ctrl-Z
    // stops the program in between. Signals that come while nobody waits here: Ctrl-C and those
    // that end a program end it. `milliseconds` below 0 waits without end; Event::resumed is also
    // the answer when the time is over.
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
