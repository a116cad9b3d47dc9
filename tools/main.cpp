// ksigil: an operator's commands on a token, for a terminal and for scripts.

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <exception>

#include "tools/command_line.h"
#include "tools/failure.h"
#include "tools/files.h"
#include "tools/interrupt.h"

namespace {

constexpr int good = 0;
constexpr int failed = 1;
constexpr int misused = 2;

// A stream that is closed would be the next file that is opened: its place is taken by what neither
// can be written nor has anything to read.
void fillStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) < 0) {
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

void prepareProcess() {
    fillStreams();
    tools::takeSignals();
    std::signal(SIGPIPE, SIG_IGN);  // a pipe that nobody reads is a failed write, and told
    std::signal(SIGXFSZ, SIG_IGN);  // and so is a limit on a file's size
    constexpr rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);  // a password could be in the core
}

int tellFailure(const std::exception& failure, int status) {
    tools::tellAside(failure.what());
    return status;
}

// What was done is told also where the rest failed.
int run(const tools::CommandLine& line) {
    tools::Report report;
    int status = good;
    try {
        line.command(line.options, report);
    } catch (const tools::Failure& failure) {
        status = tellFailure(failure, failed);
    }
    if (status == good || report.objects || report.entries) {
        tools::tell(line.options.json ? jsonOf(report) : textOf(report));
    }
    return status;
}

int runAll(int argc, char** argv) {
    try {
        const tools::CommandLine line = tools::parse(argc, argv);
        if (line.command == nullptr) {
            tools::tell(line.text);
            return good;
        }
        return run(line);
    } catch (const tools::Misuse& misuse) {
        return tellFailure(misuse, misused);
    } catch (const std::exception& failure) {
        return tellFailure(failure, failed);
    }
}

}  // namespace

int main(int argc, char** argv) {
    prepareProcess();
    const int status = runAll(argc, argv);
    tools::endByQuit();
    return status;
}
