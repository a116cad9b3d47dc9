#pragma once

#include "include/log.h"

// Gives the source file that includes it a gate of its own to the trace, and the statements that
// pass it. To be included by source files that log, not by headers.
//
//   const OperationLog log = logEntered(LABEL);  first in an operation: "entered"
//   log.exit();                      last in one without a result: "exited: "
//   return log.talkerExit(rv);       last in one of a talker: "exited: rv = ", signed decimal
//   return log.serviceExit(rv);      last in one of a service: "exited, rv= ", hexadecimal
//   logEvent(LABEL, TEXT)            in between
//   logEvent(LABEL, TEXT, number)    with a u32 behind it, in decimal
//   logEvent(LABEL, TEXT, LogPath(path))    with a token path behind it
//
// An operation without a last line calls `logEntered` alone. LABEL and TEXT are string literals.
// With the trace off a statement is the test of the gate's state; it has no effect on the operation
// around it in any case.

namespace ksigil {

static constinit LogGate logGate;

static inline OperationLog logEntered(LogText label) noexcept {
    return {logGate, label};
}

static inline void logEvent(LogText label, LogText text) noexcept {
    if (logGate.logEnabled()) [[unlikely]] {
        writeLog(label, text);
    }
}

static inline void logEvent(LogText label, LogText text, LogNumber value) noexcept {
    if (logGate.logEnabled()) [[unlikely]] {
        writeLog(label, text, LogForm::decimal, value);
    }
}

static inline void logEvent(LogText label, LogText text, LogPath path) noexcept {
    if (logGate.logEnabled()) [[unlikely]] {
        writeLog(label, text, path);
    }
}

}  // namespace ksigil

static inline bool logEnabled() noexcept {
    return ksigil::logGate.logEnabled();
}
