#include "platform/process.h"

#include <sys/resource.h>

#include <csignal>

namespace platform {

void prepareProcess() {
    constexpr rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    std::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace platform
