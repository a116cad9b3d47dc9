#include "token/tool/password_line.h"

#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>

#include "token/base/fault.h"

namespace {

// Asks on standard error, and keeps a terminal from showing what is typed.
class Prompt {
  public:
    Prompt() : onTerminal_(tcgetattr(STDIN_FILENO, &before_) == 0) {
        if (onTerminal_) {
            std::cerr << "Password: ";
            termios quiet = before_;
            quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
        }
    }
    Prompt(const Prompt&) = delete;
    Prompt& operator=(const Prompt&) = delete;
    ~Prompt() {
        if (onTerminal_) {
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
            std::cerr << '\n';
        }
    }

  private:
    termios before_{};
    bool onTerminal_;
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
