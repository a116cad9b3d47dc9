#include "platform/program/interrupt.h"

#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace platform {
namespace {

std::mutex& mutex() {
    static std::mutex all;
    return all;
}
int holders = 0;  // under the mutex
std::atomic<bool> isNoted{false};
std::atomic<bool> isDone{false};

// Runs on a thread of its own. What closes the console or ends the session ends the program as soon
// as this returns: who holds something is left the time that the system gives.
BOOL WINAPI note(DWORD event) {
    isNoted = true;
    {
        const std::lock_guard guard(mutex());
        if (holders == 0) {
            const char* const line = lineOfEnd(isDone);
            DWORD told = 0;
            WriteFile(GetStdHandle(STD_ERROR_HANDLE), line, static_cast<DWORD>(std::strlen(line)),
                      &told, nullptr);
            ExitProcess(EXIT_FAILURE);
        }
    }
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        Sleep(INFINITE);
    }
    return TRUE;
}

}  // namespace

void takeSignals() {
    SetConsoleCtrlHandler(note, TRUE);
}

bool isInterrupted() {
    return isNoted;
}

void endByQuit() {}

void tellWorkIsDone() {
    isDone = true;
}

Held::Held() {
    const std::lock_guard guard(mutex());
    ++holders;
}

Held::~Held() {
    const std::lock_guard guard(mutex());
    --holders;
}

}  // namespace platform
