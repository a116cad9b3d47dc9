// ksigil: an operator's commands on a token, for a terminal and for scripts.

#include <exception>

#include "platform/program/interrupt.h"
#include "platform/program/start.h"
#include "tools/command_line.h"
#include "tools/failure.h"
#include "tools/files.h"

namespace {

constexpr int good = 0;
constexpr int failed = 1;
constexpr int misused = 2;

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
    platform::prepareProgram();
    platform::takeSignals();
    const int status = runAll(argc, argv);
    platform::endByQuit();
    return status;
}
