#include "platform/process.h"

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

namespace platform {
namespace {

bool forked = false;

}  // namespace

void prepareProcess() {
    constexpr rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    std::signal(SIGXFSZ, SIG_IGN);
}

void writeToStandardError(std::string_view text) {
    static_cast<void>(!write(STDERR_FILENO, text.data(), text.size()));
}

// Called for each use of a token. To compare process numbers would be a call of the system each.
bool isForked() {
    static const int watched = pthread_atfork(nullptr, nullptr, [] { forked = true; });
    return watched == 0 && forked;
}

}  // namespace platform
