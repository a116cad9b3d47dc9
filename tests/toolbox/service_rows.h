#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <span>
#include <sstream>

#include "Components/qv_aid/qv_filesystem.h"
#include "tests/toolbox/token_talker.h"

// What an operation gives back. A record and a name are there before it, and have to stay.
struct Out {
    std::vector<QVFileInfo> infos{{"was", 1, 2, 3}};
    std::vector<std::string> names{"was"};
    bool exists = false;
    Bytes bytes;

    std::string text() const {
        const bool kept = infos.at(0).size == 3 && names.at(0) == "was";
        std::ostringstream all(kept ? "" : "lost ", std::ios::ate);
        for (std::size_t i = 1; i < infos.size(); ++i) {
            all << infos[i].name << ',' << +infos[i].type << ',' << +infos[i].attribute << ','
                << infos[i].size << ' ';
        }
        std::copy(names.begin() + 1, names.end(), std::ostream_iterator<std::string>(all, " "));
        return all.str() + (exists ? "yes" : "") + hexOf(bytes);
    }
};

// An operation, all frames that the token gets for it, what it gives back, its result, and the
// frame that the token refuses, or at which the talker fails.
struct Row {
    u32 (*run)(ApduTalker&, Out&);
    std::string words;
    std::string text{};
    u64 rv = 0;
    std::string refused{};
    u32 fault = 0;
};

#define RUN(...) [](ApduTalker& t, [[maybe_unused]] Out& o) -> u32 { return __VA_ARGS__; }
#define RUN_AFTER(PREPARE, ...)        \
    [](ApduTalker& t, Out& o) -> u32 { \
        PREPARE;                       \
        return __VA_ARGS__;            \
    }
constexpr u32 invalid = 0x80070057;
constexpr u32 refusal = 0xE0066982;
constexpr u32 badReply = 0x80100013;

inline void expectFramesAndOutcome(std::span<const Row> rows) {
    for (const Row& row : rows) {
        TokenTalker token;
        token.refused = row.refused;
        token.fault = row.fault;
        Out out;
        SCOPED_TRACE(row.words);
        EXPECT_EQ(row.run(token, out), row.rv);
        EXPECT_EQ(token.words, row.words);
        EXPECT_EQ(out.text(), row.text);
    }
}

// Each reply in turn gets every length, with a good status word at its end: a shorter one is a
// failure, a longer one that its frame has room for changes nothing.
inline void expectCutAndPaddedRepliesJudged(std::span<const Row> rows) {
    for (const Row& row : rows) {
        TokenTalker sound;
        Out expected;
        const u32 expectedRv = row.run(sound, expected);
        for (std::size_t target = 0; target < sound.frames.size(); ++target) {
            for (std::size_t length = 0; length <= sound.rooms[target] + 1; ++length) {
                TokenTalker token;
                bool isBad = false;
                token.change = [&](std::size_t index, u32 room, TokenTalker::Answer& given) {
                    if (index == target && given.bytes.back() == 0x90) {
                        isBad = length < given.bytes.size() || length > room;
                        given.bytes.resize(std::max<std::size_t>(length, 2) - 2, 0xEE);
                        append16(given.bytes, 0x9000);
                        given.bytes.resize(length);
                    }
                };
                Out out;
                const u32 rv = row.run(token, out);
                ASSERT_EQ(rv, isBad ? badReply : expectedRv) << row.words << " " << length;
                ASSERT_EQ(token.frames.size(), isBad ? target + 1 : sound.frames.size());
                if (!isBad) {
                    ASSERT_EQ(out.text(), expected.text()) << row.words << " " << length;
                }
            }
        }
    }
}
