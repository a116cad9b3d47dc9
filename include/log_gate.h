#pragma once

#include "support/log.h"

// Gives the source file that includes it a gate of its own to the trace, and the statements that
// pass it. To be included by source files that log, not by headers.
//
//   logEntered(LABEL)                first in an operation: "entered"
//   logExited(LABEL)                 last in one without a result: "exited: "
//   logTalkerExited(LABEL, rv)       last in one of a talker: "exited: rv = ", signed decimal
//   logServiceExited(LABEL, rv)      last in one of a service: "exited, rv= ", hexadecimal
//   logEvent(LABEL, TEXT)            in between
//   logEvent(LABEL, TEXT, number)    with a u32 behind it, in decimal
//   logEvent(LABEL, TEXT, LogPath(path))    with a token path behind it
//
// LABEL and TEXT are string literals, `rv` is a u32. With the trace off a statement is the test of
// the gate's state; it has no effect on the operation around it in any case.

static constinit LogGate logGate;

static inline bool logEnabled() noexcept {
    return logGate.logEnabled();
}

static inline void logEntered(LogText label) noexcept {
    if (logEnabled()) [[unlikely]] {
        writeLog(label, "entered");
    }
}

static inline void logExited(LogText label) noexcept {
    if (logEnabled()) [[unlikely]] {
        writeLog(label, "exited: ");
    }
}

static inline void logTalkerExited(LogText label, LogNumber rv) noexcept {
    if (logEnabled()) [[unlikely]] {
        writeLog(label, "exited: rv = ", LogForm::signedDecimal, rv);
    }
}

static inline void logServiceExited(LogText label, LogNumber rv) noexcept {
    if (logEnabled()) [[unlikely]] {
        writeLog(label, "exited, rv= ", LogForm::hexadecimal, rv);
    }
}

static inline void logEvent(LogText label, LogText text) noexcept {
    if (logEnabled()) [[unlikely]] {
        writeLog(label, text);
    }
}

static inline void logEvent(LogText label, LogText text, LogNumber value) noexcept {
    if (logEnabled()) [[unlikely]] {
        writeLog(label, text, LogForm::decimal, value);
    }
}

static inline void logEvent(LogText label, LogText text, LogPath path) noexcept {
    if (logEnabled()) [[unlikely]] {
        writeLog(label, text, path);
    }
}
