#include "shell/terminal/tty.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace ksigil {
namespace {

constexpr std::string_view bracketPastes = "\033[?2004h";
constexpr std::string_view leavePastes = "\033[?2004l";

constexpr int heldSignals[] = {SIGINT, SIGTSTP, SIGWINCH, SIGCONT};
constexpr int endingSignals[] = {SIGINT,  SIGHUP, SIGTERM, SIGQUIT, SIGABRT,
                                 SIGSEGV, SIGBUS, SIGFPE,  SIGILL,  SIGPIPE};

// For the signal handlers, which run between any two instructions of the program.
termios before;
volatile std::sig_atomic_t isOurs = 0;     // the terminal is not as it was before
volatile std::sig_atomic_t isWaiting = 0;  // the main thread is in `wait`
volatile std::sig_atomic_t interrupts = 0;
volatile std::sig_atomic_t stops = 0;
volatile std::sig_atomic_t resizes = 0;
volatile std::sig_atomic_t resumptions = 0;

void send(std::string_view sequence) {
    if (write(STDOUT_FILENO, sequence.data(), sequence.size()) < 0) {
        // The terminal is gone.
    }
}

// A process in the background leaves the terminal alone: it would be stopped.
void restore() {
    if (isOurs != 0 && tcgetpgrp(STDIN_FILENO) == getpgrp()) {
        isOurs = 0;
        send(leavePastes);
        tcsetattr(STDIN_FILENO, TCSANOW, &before);
    }
}

void handle(int number, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(number, &action, nullptr);
}

// Lets a signal do what it would have done without a handler, also within that. A stop has its
// going on met too.
void meet(int number) {
    sigset_t met;
    sigset_t usual;
    sigemptyset(&met);
    sigaddset(&met, number);
    sigaddset(&met, SIGCONT);
    handle(number, SIG_DFL);
    raise(number);
    pthread_sigmask(SIG_UNBLOCK, &met, &usual);
    pthread_sigmask(SIG_SETMASK, &usual, nullptr);
}

void stopped(int number);

// Stops the program, with the terminal as it was before, and comes back when it goes on.
void stop() {
    termios now{};
    const bool isKnown = tcgetattr(STDIN_FILENO, &now) == 0;
    restore();
    meet(SIGTSTP);
    handle(SIGTSTP, stopped);
    isOurs = 1;
    if (isKnown) {
        tcsetattr(STDIN_FILENO, TCSADRAIN, &now);
    }
    send(bracketPastes);
}

void stopped(int) {
    const int error = errno;
    if (isWaiting != 0) {
        stops = 1;
    } else {
        stop();
    }
    errno = error;
}

void interrupted(int number) {
    if (isWaiting != 0) {
        interrupts = 1;
    } else {
        restore();
        meet(number);
    }
}

void ended(int number) {
    restore();
    meet(number);
}

void resized(int) {
    resizes = 1;
}

void resumed(int) {
    resumptions = 1;
}

bool take(volatile std::sig_atomic_t& flag) {
    const bool isSet = flag != 0;
    flag = 0;
    return isSet;
}

void makeOurs() {
    termios keys = before;
    keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    keys.c_lflag |= ISIG;
    keys.c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF);
    keys.c_cc[VMIN] = 1;
    keys.c_cc[VTIME] = 0;
    isOurs = 1;
    tcsetattr(STDIN_FILENO, TCSADRAIN, &keys);
    send(bracketPastes);
}

}  // namespace

bool Tty::isThere() {
    const char* const kind = std::getenv("TERM");
    return isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0 && kind != nullptr &&
           *kind != '\0' && std::strcmp(kind, "dumb") != 0;
}

Tty::Tty() {
    tcgetattr(STDIN_FILENO, &before);
    // The way out of an assertion.
    static const bool isSeenTo = std::atexit(restore) == 0;
    static_cast<void>(isSeenTo);
    for (const int number : endingSignals) {
        struct sigaction usual {};
        sigaction(number, nullptr, &usual);
        if (usual.sa_handler != SIG_IGN) {
            handle(number, ended);
        }
    }
    handle(SIGINT, interrupted);
    handle(SIGTSTP, stopped);
    handle(SIGWINCH, resized);
    handle(SIGCONT, resumed);
    makeOurs();
}

Tty::~Tty() {
    restore();
    for (const int number : endingSignals) {
        handle(number, SIG_DFL);
    }
    for (const int number : heldSignals) {
        handle(number, SIG_DFL);
    }
}

Tty::Held::Held() {
    sigset_t held;
    sigemptyset(&held);
    for (const int number : heldSignals) {
        sigaddset(&held, number);
    }
    pthread_sigmask(SIG_BLOCK, &held, &before_);
}

Tty::Held::~Held() {
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

Tty::Event Tty::wait(int milliseconds) {
    const timespec time{milliseconds / 1000, milliseconds % 1000 * 1'000'000L};
    sigset_t none;
    sigemptyset(&none);
    for (;;) {
        if (take(interrupts)) {
            return Event::interrupt;
        }
        const bool wasStopped = take(stops);
        if (wasStopped) {
            stop();
            resumptions = 0;
        }
        const bool wasResumed = take(resumptions);
        if (wasResumed) {
            makeOurs();
        }
        if (take(resizes) || wasStopped || wasResumed) {
            return Event::redraw;
        }
        pollfd input{STDIN_FILENO, POLLIN, 0};
        isWaiting = 1;
        const int ready = ppoll(&input, 1, milliseconds < 0 ? nullptr : &time, &none);
        isWaiting = 0;
        if (ready > 0 && (input.revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
            return Event::key;
        }
        if (ready == 0) {
            return Event::timeUp;
        }
    }
}

}  // namespace ksigil
