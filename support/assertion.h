#pragma once

// Reports a broken invariant, one line on standard error, and ends the process with exit status 1;
// in the library it throws std::logic_error instead. Static destructors and exit handlers run.
// `expression` is the check's text; `file` and `line` name the check's site and stay as they are
// when the source around it moves.
[[noreturn]] void assertionFailed(const char* expression, const char* file, int line);

namespace ksigil {

// A gate of the trace: while it is open, reports go to the debugger too. Stands as a static object
// in the one source whose gate that is.
class AssertionGate {
  public:
    explicit AssertionGate(bool (*logEnabled)());
};

// Stands as a static object in the library, which neither writes on its host's streams nor ends it.
class AssertionsThrow {
  public:
    AssertionsThrow();
};

}  // namespace ksigil
