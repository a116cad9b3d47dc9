#include "platform/quiet_thread.h"

#include <csignal>
#include <system_error>

namespace platform {

std::thread startQuietThread(const std::function<void()>& work) {
    sigset_t all;
    sigset_t usual;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &usual);
    std::thread thread;
    try {
        thread = std::thread(work);
    } catch (const std::system_error&) {
        // It stays one that is not joinable.
    }
    pthread_sigmask(SIG_SETMASK, &usual, nullptr);
    return thread;
}

}  // namespace platform
