// A program of one argument, its role, for what the trace's tests look at from outside.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "Components/qv_aid/qv_filesystem.h"
#include "Components/qv_aid/qv_protector.h"
#include "apdulib/rm_apdutalker.h"
#include "include/log_gate.h"
#include "include/qv_appentry.h"
#include "platform/process.h"
#include "tests/toolbox/recording_resource_manager.h"
#include "tests/toolbox/scratch_folder.h"

using namespace ksigil;

namespace {

static_assert(!std::is_constructible_v<LogText, const char*>);
static_assert(!std::is_convertible_v<std::string, LogPath>);
static_assert(!std::is_constructible_v<LogNumber, u8> && !std::is_constructible_v<LogNumber, char>);

// Built before the source that opens the trace, and gone after `main`.
const struct Outlasting {
    Outlasting() { logEvent("static", ""); }
    ~Outlasting() { logEvent("static", ""); }
} outlasting;

// Calls that no session makes.
void makeOtherCalls() {
    RecordingResourceManager manager;
    RMApduTalker talker("a reader", 2);
    std::vector<u8> bytes;
    u32 length = 0;
    manager.results = {{"connect", {0x80100017}}, {"end", {6}}};
    talker.lock();
    talker.create();
    talker.create();
    talker.unlock(0);
    talker.lock();
    talker.lock();
    talker.unlock(0);
    talker.unlock(0);
    talker.detach(0);
    talker.unlock(0);
    talker.reconnect(0);
    QVFileSystem().readFile(talker, "3f", bytes);
    QVAppEntry().remove_kSAppEntry(talker, 1);
    QVProtector().maxOperationLength(1, &length);
    for (u32 i = 0; i < ReaderContextTable::capacity; ++i) {
        std::thread([&] { talker.getCardHandle(); }).join();
    }
}

// Writes lines of 33 bytes, a number in the last, asks a gate, and tells what is left.
void fill(u32 lines, u32 number) {
    for (u32 i = 2; i < lines; ++i) {  // the first is the static object's
        writeLog("", "");
    }
    writeLog("", "", LogForm::decimal, number);
    const std::string before = contentOf("qvsh.log");
    LogGate().logEnabled();
    const std::string after = contentOf("qvsh.log");
    std::printf("%zu %zu %d|", before.size(), after.size(), before.ends_with(after));
}

// A role is one of these words, two numbers, or a command to be run between two cuts.
void play(const std::string& role) {
    const auto writeLines = [] {
        for (u32 i = 0; i < 1000; ++i) {
            logEvent("thread", "at ", i);
        }
    };
    if (role == "calls") {
        makeOtherCalls();
    } else if (role == "static") {
        static RMApduTalker talker("VDW ifdh 0", 2);
        talker.create(), talker.lock();
    } else if (role == "threads") {
        std::jthread threads[8];
        std::generate_n(threads, 8, [&] { return std::jthread(writeLines); });
    } else if (role[2] == ',') {
        fill(static_cast<u32>(std::stoul(role)), static_cast<u32>(std::stoul(role.substr(3))));
    } else {
        fill(45, 0);
        static_cast<void>(!std::system(role.c_str()));
        writeLines();
    }
}

}  // namespace

int main(int argc, char** argv) {
    platform::prepareProcess();
    if (argc == 2) {
        play(argv[1]);
    }
    return 0;
}
