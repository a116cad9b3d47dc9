#pragma once

// Reports a broken invariant, one line on standard error, and ends the process with exit status 1.
// Static destructors and exit handlers run. `expression` is the check's text; `file` and `line`
// name the check's site and stay as they are when the source around it moves.
[[noreturn]] void assertionFailed(const char* expression, const char* file, int line);

// Names the gate of the trace whose being open makes the report go to the debugger too. Called
// while static objects are built; without a call there is no gate.
void assertionAsks(bool (*logEnabled)());
