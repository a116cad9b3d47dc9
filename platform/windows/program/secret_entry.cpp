#include "platform/program/secret_entry.h"

#include <windows.h>

#include "platform/program/interrupt.h"
#include "platform/windows/program/failure.h"

namespace platform {
namespace {

HANDLE openConsole(const char* name) {
    return CreateFileA(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                       nullptr, OPEN_EXISTING, 0, nullptr);
}

// Ctrl-C ends the reading, maybe before the thread that notes it has done so.
void awaitNote(DWORD failure) {
    constexpr int mostTries = 100;
    if (failure != ERROR_OPERATION_ABORTED) {
        SetLastError(failure);
        keepFailure();
        return;
    }
    for (int tries = 0; tries < mostTries && !isInterrupted(); ++tries) {
        Sleep(1);
    }
}

}  // namespace

struct SecretEntry::Terminal {
    Terminal() {
        GetConsoleMode(input, &before);
        isQuiet = SetConsoleMode(input, (before | ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT) &
                                            ~static_cast<DWORD>(ENABLE_ECHO_INPUT)) != FALSE;
        FlushConsoleInputBuffer(input);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal() {
        SetConsoleMode(input, before);
        write("\r\n");
        CloseHandle(input);
        CloseHandle(output);
    }

    bool write(const std::string& text) const {
        DWORD written = 0;
        return WriteFile(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) !=
               FALSE;
    }

    Held held;
    HANDLE input = openConsole("CONIN$");
    HANDLE output = openConsole("CONOUT$");
    DWORD before = 0;
    bool isQuiet = false;
};

SecretEntry::SecretEntry() {
    void* const console = openConsole("CONIN$");
    if (console != INVALID_HANDLE_VALUE) {
        CloseHandle(console);
        terminal_ = std::make_unique<Terminal>();
        if (!terminal_->isQuiet) {
            terminal_.reset();
        }
    }
}

SecretEntry::~SecretEntry() = default;

bool SecretEntry::ask(const std::string& question) {
    const bool isAsked = terminal_->write(question);
    if (!isAsked) {
        keepFailure();
    }
    return isAsked;
}

// A line ends with two characters, of which the first is none of the secret's.
int SecretEntry::next() {
    unsigned char byte = '\r';
    DWORD count = 1;
    errno = 0;
    while (byte == '\r' && count == 1 && !isInterrupted()) {
        if (ReadFile(terminal_->input, &byte, 1, &count, nullptr) == FALSE) {
            count = 0;
            awaitNote(GetLastError());
        }
    }
    return count == 1 && !isInterrupted() ? byte : -1;
}

}  // namespace platform
