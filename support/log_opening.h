#pragma once

namespace ksigil {

// Whether the trace is emptied as it is opened, which is for a program to do and not for a library
// inside one. A program says so by being linked with log_of_program.cpp; all else gets
// log_of_library.cpp.
extern const bool logStartsEmpty;

// Opens the trace, once for the process.
void openLog() noexcept;

}  // namespace ksigil
