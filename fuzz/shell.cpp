#include "shell/qv_shell.h"

#include <iostream>
#include <sstream>

#include "fuzz/script.h"
#include "tests/toolbox/recording_resource_manager.h"

namespace {

struct ScriptedManager : RecordingResourceManager {
    explicit ScriptedManager(Script& told) : script(told) {}
    u32 transmit(u32, u32, const u8* send, u32 length, u8* reply, u32& room) override {
        return script.transmit(send, length, reply, &room);
    }
    Script& script;
};

}  // namespace

// What is typed, what the calls but transmit give, then the replies.
extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size) {
    Script script(data, size);
    const Bytes typed = script.take(script.next());
    ScriptedManager manager(script);
    for (const char* call : {"establish", "connect", "begin", "end", "disconnect"}) {
        for (const u8 rv : script.take(script.next() % 4)) {
            manager.results[call].push_back(rv == 0 ? 0 : 0x80100000 + rv);
        }
    }
    std::istringstream in(std::string(typed.begin(), typed.end()));
    std::ostringstream out;
    std::cin.rdbuf(in.rdbuf());
    std::cin.clear();
    std::streambuf* const before = std::cout.rdbuf(out.rdbuf());
    QVShell("VDW ifdh 0").run();
    std::cout.rdbuf(before);
    return 0;
}
