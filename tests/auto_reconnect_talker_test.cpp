#include "apdulib/auto_reconnect_talker.h"

#include <gtest/gtest.h>

#include "tests/toolbox/recording_resource_manager.h"
#include "tests/toolbox/talker_steps.h"

namespace {

constexpr const char* reader = "VDW ifdh 0";

const Script scripts[] = {
    {"a reset in a transaction",
     {{"transmit", {0x80100068, 0x80100068}}, {"begin", {0, 6}}},
     {{"create", 0},
      {"lock", 0, " | open 1 | begin 101"},
      {"lock", 0},
      {"transmit", 0x80100068,
       " | transmit 101 2 7 3 4 | reconnect 101 2 3 0 | transmit 101 2 7 3 4"},
      {"unlock", 0},
      {"unlock", 0, " | end 101 0"}}},
    {"lost in an exchange",
     {{"transmit", {6, 0, 6}}, {"reconnect", {0, 1}}},
     {{"create", 0},
      {"lock", 0, " | open 1 | begin 101"},
      {"transmit", 0,
       " | transmit 101 2 7 3 4 | disconnect 101 0 | release 1 | open 2 | reconnect 102 2 3 0 | "
       "transmit 102 2 7 3 4",
       "90"},
      {"unlock", 0},
      {"transmit", 1,
       " | transmit 102 2 7 3 4 | disconnect 102 0 | release 2 | open 3 | reconnect 103 2 3 0"}}},
    {"never back",
     {{"connect", {0x80100017, 0x80100017, 0x80100017}}},
     {{"create", 0},
      {"lock", 0x80100017, " | open 1 | release 1 | open 2 | release 2 | open 3 | release 3"}}},
    {"lost at a lock",
     {{"begin", {6, 0, 0x80100068}}, {"end", {6, 0x80100068}}},
     {{"create", 0},
      {"lock", 0,
       " | open 1 | begin 101 | disconnect 101 0 | release 1 | open 2 | reconnect 102 2 3 0 | "
       "begin 102"},
      {"unlock", 0, " | end 102 0 | disconnect 102 0 | release 2 | open 3 | reconnect 103 2 3 0"},
      {"lock", 0, " | begin 103 | reconnect 103 2 3 0 | begin 103"},
      {"unlock", 0, " | end 103 0 | reconnect 103 2 3 0 | end 103 0"}}},
};

TEST(AutoReconnectTalker, MakesTheseCalls) {
    for (const Script& script : scripts) {
        RecordingResourceManager manager;
        AutoReconnectTalker talker(reader, 2);
        expectSteps(talker, manager, script);
    }
}

TEST(AutoReconnectTalker, RecoversOnFourValuesOnly) {
    const struct {
        u32 value;
        bool recovers, isLost;  // a lost card is connected to anew
    } cases[] = {{6, true, true},
                 {0x80100017, true, true},
                 {0x80100069, true, true},
                 {0x80100068, true, false},
                 {1, false, false},
                 {0x80004005, false, false},
                 {0x8007000E, false, false},
                 {0x80100003, false, false},
                 {0x8010000C, false, false}};
    for (const auto& [value, recovers, isLost] : cases) {
        RecordingResourceManager manager;
        AutoReconnectTalker talker(reader, 2);
        talker.create();
        manager.results["transmit"] = {value};
        EXPECT_EQ(exchange(talker).rv, recovers ? 0 : value);
        EXPECT_EQ(manager.take().find("disconnect") != std::string::npos, isLost) << value;
    }
}

}  // namespace
