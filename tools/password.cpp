#include "tools/password.h"

#include "include/ksigil.h"
#include "platform/program/interrupt.h"
#include "platform/program/secret_entry.h"
#include "platform/program/start.h"
#include "tools/failure.h"
#include "tools/files.h"

namespace tools {
namespace {

constexpr std::size_t longest = 4096;

}  // namespace

Password::Password() {
    bytes_.reserve(longest);  // moved nowhere, so that none of it stays behind
}

Password::~Password() {
    platform::wipe(bytes_.data(), bytes_.size());
}

// A byte at a time: what stands behind the line is not taken.
void Password::readLine(const std::function<int()>& next, const std::string& from) {
    for (int byte = next(); byte >= 0 && byte != '\n'; byte = next()) {
        if (bytes_.size() == longest) {
            throw Failure("the password from " + from + " is longer than any");
        }
        bytes_.push_back(static_cast<std::uint8_t>(byte));
    }
    if (platform::endsLinesWithReturn && !bytes_.empty() && bytes_.back() == '\r') {
        bytes_.pop_back();
    }
    if (bytes_.empty()) {
        throw Failure("there is no password in " + from);
    }
}

Password Password::ofFile(const std::string& name) {
    Password password;
    const InputFile file(name);
    const auto next = [&file] {
        std::uint8_t byte = 0;
        return readSome(file.descriptor(), {&byte, 1}, file.name()) == 1 ? int{byte} : -1;
    };
    password.readLine(next, file.name());
    return password;
}

Password Password::ofTerminal(const std::string& question, const std::string& hint) {
    platform::SecretEntry entry;
    if (!entry.isThere()) {
        throw Failure("the password is wanted, and there is no terminal to ask at: " + hint);
    }
    if (!entry.ask(question)) {
        throw Failure::ofSystem("cannot write to the terminal", errno);
    }
    Password password;
    const auto next = [&entry] {
        const int byte = entry.next();
        if (platform::isInterrupted()) {
            throw Failure("no password was given", KSIGIL_CANCELLED);
        }
        if (byte < 0 && errno != 0) {
            throw Failure::ofSystem("cannot read from the terminal", errno);
        }
        return byte;
    };
    password.readLine(next, "the terminal");
    return password;
}

}  // namespace tools
