#include "support/log.h"

#include <array>
#include <filesystem>
#include <mutex>

#include "platform/trace_file.h"
#include "support/log_key.h"
#include "support/log_line.h"

namespace {

constexpr std::string_view fileName = "qvsh.log";

// A directory of up to MAX_PATH bytes, the separator, the file's name and the end.
using PathBuffer = std::array<char, MAX_PATH + 1 + fileName.size() + 1>;

// These outlive every static object: they need neither construction nor destruction.
constinit std::mutex logMutex;
constinit PathBuffer logPath{};
constinit platform::TraceFile logFile;

void makeLogPath() {
    if (!LogKey().read("Path", logPath.data(), MAX_PATH)) {
        GetTempPathA(MAX_PATH, logPath.data());
    }
    std::size_t length = std::string_view(logPath.data()).length();
    logPath[length] = static_cast<char>(std::filesystem::path::preferred_separator);
    ++length;
    length += fileName.copy(logPath.data() + length, fileName.size());
    logPath[length] = '\0';
}

// The file's time of being open. The file itself needs no destructor, so that what is logged
// behind this one's finds it closed.
struct LogOpening {
    LogOpening() {
        makeLogPath();
        logFile.openEmptied(logPath.data());
    }
    LogOpening(const LogOpening&) = delete;
    LogOpening& operator=(const LogOpening&) = delete;
    ~LogOpening() {
        const std::lock_guard guard(logMutex);
        logFile.close();
    }
};

// Of several sources' static objects, one that logs in its constructor may come before the file's.
void ensureOpened() {
    static const LogOpening opening;
}

[[maybe_unused]] const bool openedBeforeMain = (ensureOpened(), true);

void write(LogLine& line) {
    ensureOpened();
    const std::string_view text = line.end();
    const std::lock_guard guard(logMutex);
    logFile.write(text);
}

// Leaves the last tenth of a file that is longer than `limit` bytes.
void cutIfOver(std::int64_t limit) {
    ensureOpened();
    const std::lock_guard guard(logMutex);
    const std::int64_t position = logFile.position();
    if (position > limit) {
        logFile.close();
        platform::keepTail(logPath.data(), position, position / 10);
        logFile.openAppending(logPath.data());
    }
}

}  // namespace

void writeLog(LogText label, LogText text) noexcept {
    LogLine line(label, text);
    write(line);
}

void writeLog(LogText label, LogText text, LogForm form, LogNumber value) noexcept {
    LogLine line(label, text);
    switch (form) {
        case LogForm::decimal:
            line.addDecimal(value.value());
            break;
        case LogForm::signedDecimal:
            line.addSigned(value.value());
            break;
        case LogForm::hexadecimal:
            line.addHexadecimal(value.value());
            break;
    }
    write(line);
}

void writeLog(LogText label, LogText text, LogPath path) noexcept {
    LogLine line(label, text);
    line.addPath(path);
    write(line);
}

bool LogGate::isOpen() noexcept {
    if (logState.load(std::memory_order_acquire) == unread) {
        configure();
    }
    const bool open = logState.load(std::memory_order_relaxed) == enabled;
    if (open && logCycle != 0) {
        cutIfOver(logCycle);
    }
    return open;
}

void LogGate::configure() noexcept {
    const std::lock_guard guard(logMutex);
    if (logState.load(std::memory_order_relaxed) == unread) {
        const LogKey key;
        DWORD isEnabled = 0;
        DWORD kilobytes = 0;
        const bool open = key.read("Enabled", &isEnabled, sizeof isEnabled) && isEnabled == 1;
        if (key.read("Cycle", &kilobytes, sizeof kilobytes)) {
            logCycle = std::int64_t{kilobytes} << 10;
        }
        logState.store(open ? enabled : disabled, std::memory_order_release);
    }
}
