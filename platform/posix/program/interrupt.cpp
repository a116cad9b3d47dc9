#include "platform/program/interrupt.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <string_view>

namespace platform {
namespace {

std::atomic<int> holders{0};
std::atomic<bool> isNoted{false};
std::atomic<bool> isToQuit{false};
std::atomic<bool> isDone{false};

void note(int number) {
    isNoted = true;
    isToQuit = isToQuit || number == SIGQUIT;
    if (holders == 0) {
        const std::string_view line = lineOfEnd(isDone);
        // Where standard error cannot be written either, nobody can be told.
        [[maybe_unused]] const ssize_t told = write(STDERR_FILENO, line.data(), line.size());
        endByQuit();
        _exit(EXIT_FAILURE);
    }
}

}  // namespace

void takeSignals() {
    struct sigaction action {};
    action.sa_handler = note;
    action.sa_flags = SA_RESTART;
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        struct sigaction before {};
        sigaction(number, nullptr, &before);
        if (before.sa_handler != SIG_IGN) {
            sigaction(number, &action, nullptr);
        }
    }
}

bool isInterrupted() {
    return isNoted;
}

// Called in a signal's handler, too.
void endByQuit() {
    if (isToQuit) {
        std::signal(SIGQUIT, SIG_DFL);
        sigset_t quit;
        sigemptyset(&quit);
        sigaddset(&quit, SIGQUIT);
        pthread_sigmask(SIG_UNBLOCK, &quit, nullptr);
        std::raise(SIGQUIT);
    }
}

void tellWorkIsDone() {
    isDone = true;
}

Held::Held() {
    ++holders;
}

Held::~Held() {
    --holders;
}

}  // namespace platform
