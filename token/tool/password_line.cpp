#include "token/tool/password_line.h"

#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <optional>

#include "token/base/fault.h"

namespace {

termios shown;  // the terminal as it was

// A program that is ended at the prompt leaves a terminal that shows what is typed.
void showAndEnd(int signal) {
    tcsetattr(STDIN_FILENO, TCSANOW, &shown);
    raise(signal);  // met behind this handler, which it no longer has
}

class EndingSignals {
  public:
    EndingSignals() {
        struct sigaction action {};
        action.sa_handler = showAndEnd;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            sigaction(numbers[i], nullptr, &before_[i]);
            if (before_[i].sa_handler != SIG_IGN) {
                sigaction(numbers[i], &action, nullptr);
            }
        }
    }
    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;
    ~EndingSignals() {
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            sigaction(numbers[i], &before_[i], nullptr);
        }
    }

  private:
    static constexpr std::array numbers{SIGINT, SIGTERM, SIGHUP, SIGQUIT};

    std::array<struct sigaction, numbers.size()> before_{};
};

// Asks on standard error, and keeps a terminal from showing what is typed.
class Prompt {
  public:
    Prompt() : onTerminal_(tcgetattr(STDIN_FILENO, &shown) == 0) {
        if (onTerminal_) {
            std::cerr << "Password: ";
            signals_.emplace();
            termios quiet = shown;
            quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
        }
    }
    Prompt(const Prompt&) = delete;
    Prompt& operator=(const Prompt&) = delete;
    ~Prompt() {
        if (onTerminal_) {
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &shown);
            std::cerr << '\n';
        }
    }

  private:
    bool onTerminal_;
    std::optional<EndingSignals> signals_;
};

// False at the end of the input.
bool readByte(char& byte) {
    ssize_t count = 0;
    do {
        count = ::read(STDIN_FILENO, &byte, 1);
    } while (count < 0 && errno == EINTR);
    return count == 1;
}

}  // namespace

PasswordLine::PasswordLine() {
    const Prompt prompt;
    try {
        read();
    } catch (...) {
        token::wipe(bytes_);
        throw;
    }
}

// Past the streams, whose buffers would keep it.
void PasswordLine::read() {
    char byte = 0;
    while (readByte(byte)) {
        if (byte == '\n') {
            return;
        }
        if (length_ == longest) {
            throw token::Fault("the line on standard input is longer than a password can be");
        }
        bytes_[length_++] = static_cast<std::uint8_t>(byte);
    }
    if (length_ == 0) {
        throw token::Fault("there is no password on standard input");
    }
}
