#pragma once

#include <cstdlib>

#include "tests/toolbox/bytes.h"
#include "tests/toolbox/scratch_folder.h"
#include "token/base/fault.h"
#include "token/door/slot.h"
#include "token/image/make_image.h"

// Puts a fresh image at the path: a copy, of the build's if there is one, since the making of an
// image takes its time.
inline void putFreshImage(const std::string& path) {
    static const std::string fresh = [] {
        const char* const made = std::getenv("KSIGIL_TEST_IMAGE");
        if (made != nullptr && std::filesystem::exists(made)) {
            return contentOf(made);
        }
        const ScratchFolder folder;
        token::makeImage(folder.file("fresh.db"));
        return contentOf(folder.file("fresh.db"));
    }();
    put(path, fresh);
    std::filesystem::permissions(path, std::filesystem::perms(0600));
}

// A connection to the token. A test that gets none ends.
inline std::unique_ptr<token::Connection> connectionTo(token::Slot& slot) {
    std::unique_ptr<token::Connection> connection;
    std::string why;
    if (slot.connect(connection, why) != token::Outcome::good) {
        throw token::Fault(why);
    }
    return connection;
}

// A whole frame from the instruction byte and the data field, both in hexadecimal.
inline Bytes frameOf(const std::string& ins, const std::string& data) {
    const Bytes field = bytesOf(data);
    Bytes frame = bytesOf("00" + ins + "000000");
    frame.push_back(static_cast<std::uint8_t>(field.size() >> 8));
    frame.push_back(static_cast<std::uint8_t>(field.size()));
    frame.insert(frame.end(), field.begin(), field.end());
    return frame;
}

inline std::string nameOf(token::Outcome outcome) {
    static const std::vector<std::string> names{"good",  "unusable", "absent", "removed",
                                                "reset", "notHeld",  "served"};
    return names.at(static_cast<std::size_t>(outcome));
}

// The whole reply in hexadecimal, the status word's low byte first as on the wire; or the outcome.
inline std::string answer(token::Connection& connection, token::Bytes frame) {
    token::Buffer reply;
    const token::Outcome outcome = connection.transmit(frame, reply);
    return outcome == token::Outcome::good ? hexOf(reply) : nameOf(outcome);
}
