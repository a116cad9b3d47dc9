#pragma once

namespace tools {

// SIGINT, SIGTERM and SIGHUP. One that comes while something is `Held` is noted, and who holds
// looks for it; any other ends the program at once, with status 1 and a line that says what is
// done.

// Called once, first. A signal that is ignored stays so.
void takeSignals();

bool isInterrupted();

// From now on the token has had what was asked for.
void tellWorkIsDone();

class Held {
  public:
    Held();
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held();
};

}  // namespace tools
