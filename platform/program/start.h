#pragma once

#include <cstddef>

namespace platform {

// Sets the process up as a program of single commands needs it; called first of all. What cannot be
// written to a pipe, or beyond a limit, is a failed write and no reason to end. A stream that is
// closed stays without use: no file gets its number. Passwords pass through the memory, so no core
// is left.
void prepareProgram();

// Whether a line of a text has a carriage return before its end.
extern const bool endsLinesWithReturn;

// Takes the memory's content away, in a way that no compiler leaves out.
void wipe(void* bytes, std::size_t length);

}  // namespace platform
