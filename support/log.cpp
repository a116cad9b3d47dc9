#include "include/log.h"

#include <array>
#include <filesystem>
#include <memory>
#include <mutex>

#include "platform/trace_file.h"
#include "support/log_key.h"
#include "support/log_line.h"
#include "support/log_opening.h"

using namespace ksigil;

namespace {

constexpr std::string_view fileName = "qvsh.log";

// A directory of up to MAX_PATH bytes, the separator, the file's name and the end.
using PathBuffer = std::array<char, MAX_PATH + 1 + fileName.size() + 1>;

// Static objects may log as they are built and destroyed, so these are there before the first and
// behind the last.
std::mutex& logMutex() {
    static std::mutex& mutex = *std::make_unique<std::mutex>().release();
    return mutex;
}
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

// The file is open from the first line on, or from before `main`, to the program's end. A line that
// comes later finds it closed.
class OpenLog {
  public:
    OpenLog() {
        makeLogPath();
        if (logStartsEmpty) {
            logFile.openEmptied(logPath.data());
        } else {
            logFile.openAppending(logPath.data());
        }
    }
    OpenLog(const OpenLog&) = delete;
    OpenLog& operator=(const OpenLog&) = delete;
    ~OpenLog() {
        const std::lock_guard guard(logMutex());
        logFile.close();
    }
};

void write(LogLine& line) {
    openLog();
    const std::string_view text = line.end();
    const std::lock_guard guard(logMutex());
    logFile.write(text);
}

// Leaves the last tenth of a file that is longer than `limit` bytes.
void cutIfOver(std::int64_t limit) {
    openLog();
    const std::lock_guard guard(logMutex());
    const std::int64_t position = logFile.position();
    if (position > limit) {
        logFile.close();
        platform::keepTail(logPath.data(), position, position / 10);
        logFile.openAppending(logPath.data());
    }
}

}  // namespace

void ksigil::openLog() noexcept {
    static const OpenLog opened;
    static_cast<void>(opened);
}

void ksigil::writeLog(LogText label, LogText text) noexcept {
    LogLine line(label, text);
    write(line);
}

void ksigil::writeLog(LogText label, LogText text, LogForm form, LogNumber value) noexcept {
    LogLine line(label, text);
    line.addNumber(form, value.value());
    write(line);
}

void ksigil::writeLog(LogText label, LogText text, LogPath path) noexcept {
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
    const std::lock_guard guard(logMutex());
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
