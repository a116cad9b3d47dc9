#include "platform/program/secret_entry.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "platform/program/descriptor.h"
#include "platform/program/files.h"
#include "platform/program/interrupt.h"

namespace platform {

struct SecretEntry::Terminal {
    explicit Terminal(Descriptor opened) : descriptor(std::move(opened)) {
        tcgetattr(descriptor.get(), &before);
        termios quiet = before;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        quiet.c_cc[VSUSP] = _POSIX_VDISABLE;
        tcsetattr(descriptor.get(), TCSAFLUSH, &quiet);
        // Signals come in waits alone: so none comes between a look for it and the wait.
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &signals);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal() {
        pthread_sigmask(SIG_SETMASK, &signals, nullptr);
        tcsetattr(descriptor.get(), TCSAFLUSH, &before);
        writeSome(descriptor.get(), "\n", 1);
    }

    Descriptor descriptor;
    Held held;
    termios before{};
    sigset_t signals{};
};

SecretEntry::SecretEntry() {
    Descriptor terminal(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
    if (terminal.isOpen()) {
        terminal_ = std::make_unique<Terminal>(std::move(terminal));
    }
}

SecretEntry::~SecretEntry() = default;

bool SecretEntry::ask(const std::string& question) {
    return writeSome(terminal_->descriptor.get(), question.data(), question.size()) >= 0;
}

int SecretEntry::next() {
    const int descriptor = terminal_->descriptor.get();
    pollfd ready{descriptor, POLLIN, 0};
    while (!isInterrupted() && ppoll(&ready, 1, nullptr, &terminal_->signals) < 0 &&
           errno == EINTR) {
    }
    unsigned char byte = 0;
    errno = 0;
    return !isInterrupted() && readSome(descriptor, &byte, 1) == 1 ? byte : -1;
}

}  // namespace platform
