#include "tools/password.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "include/ksigil.h"
#include "tools/failure.h"
#include "tools/files.h"
#include "tools/interrupt.h"

namespace tools {
namespace {

constexpr std::size_t longest = 4096;

// Keeps the terminal from showing what is typed, and from stopping the program before it
// is as it was.
class QuietTerminal {
  public:
    explicit QuietTerminal(int terminal) : terminal_(terminal) {
        tcgetattr(terminal_, &before_);
        termios quiet = before_;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        quiet.c_cc[VSUSP] = _POSIX_VDISABLE;
        tcsetattr(terminal_, TCSAFLUSH, &quiet);
    }
    QuietTerminal(const QuietTerminal&) = delete;
    QuietTerminal& operator=(const QuietTerminal&) = delete;
    ~QuietTerminal() {
        tcsetattr(terminal_, TCSAFLUSH, &before_);
        [[maybe_unused]] const ssize_t told = write(terminal_, "\n", 1);
    }

  private:
    int terminal_;
    Held held_;
    termios before_{};
};

// Blocks the signals but for the time of a wait, so that none comes between a look for it and that.
class BlockedSignals {
  public:
    BlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &before_);
    }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

    void await(int descriptor) const {
        pollfd ready{descriptor, POLLIN, 0};
        while (!isInterrupted() && ppoll(&ready, 1, nullptr, &before_) < 0 && errno == EINTR) {
        }
        if (isInterrupted()) {
            throw Failure("no password was given", KSIGIL_CANCELLED);
        }
    }

  private:
    sigset_t before_{};
};

}  // namespace

Password::Password() {
    bytes_.reserve(longest);  // moved nowhere, so that none of it stays behind
}

Password::~Password() {
    explicit_bzero(bytes_.data(), bytes_.size());
}

// A byte at a time: what stands behind the line is not taken.
void Password::readLine(int descriptor, const std::string& from,
                        const std::function<void()>& await) {
    std::uint8_t byte = 0;
    const auto arrives = [&] {
        if (await) {
            await();
        }
        return readSome(descriptor, {&byte, 1}, from) == 1;
    };
    while (arrives() && byte != '\n') {
        if (bytes_.size() == longest) {
            throw Failure("the password from " + from + " is longer than any");
        }
        bytes_.push_back(byte);
    }
    if (bytes_.empty()) {
        throw Failure("there is no password in " + from);
    }
}

Password Password::ofFile(const std::string& name) {
    Password password;
    const InputFile file(name);
    password.readLine(file.descriptor(), file.name(), {});
    return password;
}

Password Password::ofTerminal(const std::string& question, const std::string& hint) {
    const Descriptor terminal(open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
    if (terminal.get() < 0) {
        throw Failure("the password is wanted, and there is no terminal to ask at: " + hint);
    }
    Password password;
    const QuietTerminal quiet(terminal.get());
    writeAll(terminal.get(), question, "the terminal");
    const BlockedSignals blocked;
    password.readLine(terminal.get(), "the terminal", [&] { blocked.await(terminal.get()); });
    return password;
}

}  // namespace tools
