#pragma once

#include <atomic>
#include <cstdint>

#include "include/basic_types.h"
#include "include/log_words.h"

namespace ksigil {

// The program's trace: lines in the one file qvsh.log, which stands in the directory that the
// configuration names, else in the temporary one. The programs open and empty it before `main`; the
// shared library opens it with the first line, and adds to it. Source files write to it through
// include/log_gate.h; support/log.cpp keeps the file.
//
// Nothing here throws, and no failure of the file shows anywhere else. Any thread may call at any
// time, from static constructors and destructors too; a line that comes after the file was closed
// is dropped.

// Write one line: process, thread, `label`, ": ", `text` and the value, if there is one.
void writeLog(LogText label, LogText text) noexcept;
void writeLog(LogText label, LogText text, LogForm form, LogNumber value) noexcept;
void writeLog(LogText label, LogText text, LogPath path) noexcept;

// One source file's gate to the trace. The first call of `logEnabled` reads the configuration;
// later changes of it go unnoticed.
class LogGate {
  public:
    // Whether to write. If so, cuts the file first where it has grown over the configured limit.
    // With the trace off this is the test of `logState`.
    bool logEnabled() noexcept {
        return logState.load(std::memory_order_relaxed) != disabled && isOpen();
    }

  private:
    static constexpr std::int32_t unread = 0;
    static constexpr std::int32_t enabled = 1;
    static constexpr std::int32_t disabled = 2;

    bool isOpen() noexcept;
    void configure() noexcept;

    std::atomic<std::int32_t> logState{unread};
    std::int64_t logCycle = 0;  // bytes, 0: never cut; set before `logState` is
};

// The first and the last line of an operation, under one label. An operation that an exception
// leaves writes no last line. Each exit form writes nothing but its line; the two with a result
// give it back, to be returned.
class OperationLog {
  public:
    OperationLog(LogGate& gate, LogText label) noexcept : gate_(gate), label_(label) {
        if (gate_.logEnabled()) [[unlikely]] {
            writeLog(label_, "entered");
        }
    }

    void exit() const noexcept {
        if (gate_.logEnabled()) [[unlikely]] {
            writeLog(label_, "exited: ");
        }
    }

    u32 talkerExit(u32 rv) const noexcept {
        return exit("exited: rv = ", LogForm::signedDecimal, rv);
    }

    u32 serviceExit(u32 rv) const noexcept {
        return exit("exited, rv= ", LogForm::hexadecimal, rv);
    }

  private:
    u32 exit(LogText text, LogForm form, u32 rv) const noexcept {
        if (gate_.logEnabled()) [[unlikely]] {
            writeLog(label_, text, form, rv);
        }
        return rv;
    }

    LogGate& gate_;
    LogText label_;
};

}  // namespace ksigil
