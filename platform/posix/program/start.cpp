#include "platform/program/start.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <initializer_list>

namespace platform {

const bool endsLinesWithReturn = false;

namespace {

// A stream that is closed would be the next file that is opened: its place is taken by what neither
// can be written nor has anything to read.
void fillStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) < 0) {
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

}  // namespace

void prepareProgram() {
    fillStreams();
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    constexpr rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
}

void wipe(void* bytes, std::size_t length) {
    explicit_bzero(bytes, length);
}

}  // namespace platform
