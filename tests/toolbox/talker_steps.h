#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <map>

#include "apdulib/rm_apdutalker.h"
#include "tests/toolbox/bytes.h"
#include "tests/toolbox/recording_resource_manager.h"

struct Exchange {
    u32 rv;
    std::string reply;  // in hexadecimal; of four bytes 07 what the talker has not written
};

// A command of three bytes from 07, with room for four.
inline Exchange exchange(RMApduTalker& talker) {
    const u8 command[3] = {7};
    u8 reply[4] = {7, 7, 7, 7};
    u32 length = sizeof reply;
    const u32 rv = talker.transmit(command, sizeof command, reply, &length);
    return {rv, hexOf({reply, length})};
}

// An operation of a talker, its result, the calls that it makes of the resource manager, and the
// reply that it gets if it is an exchange.
struct Step {
    std::string operation;
    u32 rv;
    std::string calls{};
    std::string reply{};
};

struct Script {
    const char* name;
    std::map<std::string, std::deque<u32>> results;  // of the resource manager's calls
    std::vector<Step> steps;
};

inline u32 detach(RMApduTalker& talker, u32 disposition) {
    talker.detach(disposition);
    return 0;
}

inline u32 perform(RMApduTalker& talker, const std::string& operation) {
    static const std::map<std::string, std::function<u32(RMApduTalker&)>> operations{
        {"create", [](RMApduTalker& t) { return t.create(); }},
        {"lock", [](RMApduTalker& t) { return t.lock(); }},
        {"unlock", [](RMApduTalker& t) { return t.unlock(SCARD_LEAVE_CARD); }},
        {"unlock, reset", [](RMApduTalker& t) { return t.unlock(SCARD_RESET_CARD); }},
        {"unlock, unpower", [](RMApduTalker& t) { return t.unlock(SCARD_UNPOWER_CARD); }},
        {"reconnect", [](RMApduTalker& t) { return t.reconnect(SCARD_LEAVE_CARD); }},
        {"reconnect, reset", [](RMApduTalker& t) { return t.reconnect(SCARD_RESET_CARD); }},
        {"detach", [](RMApduTalker& t) { return detach(t, SCARD_LEAVE_CARD); }},
        {"detach, reset", [](RMApduTalker& t) { return detach(t, SCARD_RESET_CARD); }},
        {"detach, unpower", [](RMApduTalker& t) { return detach(t, SCARD_UNPOWER_CARD); }},
        {"card", [](RMApduTalker& t) { return static_cast<u32>(t.getCardHandle()); }},
    };
    return operations.at(operation)(talker);
}

inline void expectSteps(RMApduTalker& talker, RecordingResourceManager& manager,
                        const Script& script) {
    manager.results = script.results;
    for (std::size_t at = 0; at < script.steps.size(); ++at) {
        const Step& step = script.steps[at];
        SCOPED_TRACE(std::string(script.name) + ", step " + std::to_string(at) + ": " +
                     step.operation);
        const bool exchanges = step.operation == "transmit";
        const Exchange done =
            exchanges ? exchange(talker) : Exchange{perform(talker, step.operation), ""};
        EXPECT_EQ(done.rv, step.rv);
        EXPECT_EQ(done.reply, step.reply);
        EXPECT_EQ(manager.take(), step.calls);
    }
}
