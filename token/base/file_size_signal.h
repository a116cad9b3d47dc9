#pragma once

#include <signal.h>

#include <cerrno>
#include <ctime>

namespace token {

// A write beyond the limit on a file's size would end the process. Held back, the signal is the
// thread's own and is taken off again; the write fails like one on a full disk.
class NoFileSizeSignal {
  public:
    NoFileSizeSignal() {
        sigemptyset(&signal_);
        sigaddset(&signal_, SIGXFSZ);
        pthread_sigmask(SIG_BLOCK, &signal_, &before_);
    }
    NoFileSizeSignal(const NoFileSizeSignal&) = delete;
    NoFileSizeSignal& operator=(const NoFileSizeSignal&) = delete;
    ~NoFileSizeSignal() {
        const int error = errno;
        if (sigismember(&before_, SIGXFSZ) == 0) {
            const timespec atOnce{};
            sigtimedwait(&signal_, nullptr, &atOnce);
            pthread_sigmask(SIG_SETMASK, &before_, nullptr);
        }
        errno = error;
    }

  private:
    sigset_t signal_;
    sigset_t before_;
};

}  // namespace token
