#pragma once

#include <algorithm>
#include <functional>

#include "apdulib/apdu_talker.h"
#include "include/basic_types.h"
#include "tests/toolbox/bytes.h"

// A small token: objects by path, no password. It keeps the frames, the room for their replies and
// the frames in words, refuses the one that reads `refused` with 0x6982, and lets a test change any
// reply on its way to the host.
class TokenTalker : public ApduTalker {
  public:
    struct Answer {
        u32 rv;
        Bytes bytes;  // what arrives, status word included; beyond the room only told
    };
    struct Object {
        u8 type;
        u8 attribute;
        u8 size;  // low byte; the high one is 3
        std::vector<u16> children;
    };

    std::map<std::string, Object> objects{
        {"3f00", {2, 0, 0, {1, 0xD800, 2}}}, {"3f000001", {1, 0, 0xDB, {}}},
        {"3f000002", {3, 2, 0, {}}},         {"3f00d800", {2, 1, 0, {0xA1A1}}},
        {"3f00d800a1a1", {1, 1, 0xFF, {}}},  {"3f00d900", {2, 0, 0, {}}}};
    std::string refused;
    u32 fault = 0;  // of the talker, with the refusal
    std::function<void(std::size_t index, u32 room, Answer& given)> change;
    std::vector<Bytes> frames;
    std::vector<u32> rooms;
    std::string words;

    u32 transmit(const u8* send, u32 sendLength, u8* receive, u32* receiveLength) override {
        frames.emplace_back(send, send + sendLength);
        rooms.push_back(*receiveLength);
        Answer given = answerTo(frames.back());
        if (change) {
            change(frames.size() - 1, *receiveLength, given);
        }
        const std::size_t copied = std::min<std::size_t>(given.bytes.size(), *receiveLength);
        std::copy_n(given.bytes.begin(), copied, receive);
        *receiveLength = static_cast<u32>(given.bytes.size());
        return given.rv;
    }

    static Bytes content(u32 offset, u32 length) {
        Bytes bytes;
        for (u32 i = 0; i < length; ++i) {
            bytes.push_back(static_cast<u8>(0x11 + (offset + i) % 0x61));
        }
        return bytes;
    }

  private:
    Answer answerTo(const Bytes& frame) {
        const Bytes field(frame.begin() + 7, frame.end());
        const std::string word = wordsOf(frame);
        const std::string path = frame[1] == 0xA4 ? word.substr(word.find(' ') + 1) : "";
        words += (words.empty() ? "" : ", ") + word;
        const bool isFound = path.empty() || objects.contains(path);
        const u32 status = word == refused ? 0x6982 : isFound ? 0x9000 : 0x6407;
        Answer given{word == refused ? fault : 0,
                     status == 0x9000 ? replyTo(frame[1], field, path) : Bytes()};
        append16(given.bytes, status);
        return given;
    }

    Bytes replyTo(u8 ins, const Bytes& field, const std::string& path) {
        Bytes reply;
        if (ins == 0xA4) {
            const Object& at = selected_ = objects.at(path);
            reply = {0xEE, 0xEE, at.type, at.attribute, at.size, 3, 0xEE, 0xEE};
        } else if (ins == 0xD2) {
            append16(reply, static_cast<u32>(selected_.children.size()));
            for (const u16 id : selected_.children) {
                append16(reply, id);
            }
        } else if (ins == 0xB0) {
            reply = content(field[0] + 256U * field[1], field[2] + 256U * field[3]);
        } else if (ins == 0xD8) {  // stands for the cipher: every bit turned
            for (std::size_t at = 1; at < 9; ++at) {
                reply.push_back(static_cast<u8>(~field.at(at)));
            }
        }
        return reply;
    }

    Object selected_{};
};
