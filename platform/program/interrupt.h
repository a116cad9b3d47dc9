#pragma once

namespace platform {

// SIGINT, SIGTERM, SIGHUP and SIGQUIT, or what ends a program at a console. One that comes while
// something is `Held` is noted, and who holds looks for it; any other ends the program at once,
// with status 1 and a line that says what is done. Where SIGQUIT came, the program ends by that
// instead.

// Called once, behind prepareProgram. A signal that is ignored stays so.
void takeSignals();

bool isInterrupted();

// Called last: does not return where SIGQUIT came.
void endByQuit();

// From now on the token has had what was asked for.
void tellWorkIsDone();

class Held {
  public:
    Held();
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held();
};

// The line that says what is done.
inline const char* lineOfEnd(bool isDone) {
    return isDone ? "ksigil: ended by a signal; the work on the token is done\n"
                  : "ksigil: ended by a signal; nothing was changed\n";
}

}  // namespace platform
