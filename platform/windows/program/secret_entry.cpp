#include "platform/program/secret_entry.h"

#include <windows.h>

#include "platform/program/interrupt.h"

namespace platform {
namespace {

HANDLE openConsole(const char* name) {
    return CreateFileA(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                       nullptr, OPEN_EXISTING, 0, nullptr);
}

}  // namespace

struct SecretEntry::Terminal {
    Terminal() {
        GetConsoleMode(input, &before);
        SetConsoleMode(input, (before | ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT) &
                                  ~static_cast<DWORD>(ENABLE_ECHO_INPUT));
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

    void write(const std::string& text) const {
        DWORD written = 0;
        WriteFile(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    }

    Held held;
    HANDLE input = openConsole("CONIN$");
    HANDLE output = openConsole("CONOUT$");
    DWORD before = 0;
};

SecretEntry::SecretEntry() {
    void* const console = openConsole("CONIN$");
    if (console != INVALID_HANDLE_VALUE) {
        CloseHandle(console);
        terminal_ = std::make_unique<Terminal>();
    }
}

SecretEntry::~SecretEntry() = default;

void SecretEntry::ask(const std::string& question) {
    terminal_->write(question);
}

// A line ends with two characters, of which the first is none of the secret's.
int SecretEntry::next() {
    unsigned char byte = '\r';
    DWORD count = 1;
    while (byte == '\r' && count == 1 && !isInterrupted()) {
        if (ReadFile(terminal_->input, &byte, 1, &count, nullptr) == FALSE) {
            count = 0;
        }
    }
    return count == 1 && !isInterrupted() ? byte : -1;
}

}  // namespace platform
