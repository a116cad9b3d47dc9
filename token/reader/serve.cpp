#include "token/reader/serve.h"

#include <poll.h>
#include <sys/signalfd.h>

#include <cerrno>
#include <chrono>
#include <csignal>

#include "token/base/fault.h"
#include "token/base/waiting.h"
#include "token/reader/served_token.h"

namespace token {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds lookEvery{250};  // for what was done to the token from outside, or a driver
constexpr milliseconds stayOut{1000};   // pcscd looks every 400 ms whether a token is in a reader

// A message of one byte from the driver.
enum Control : std::uint8_t { off = 0, on = 1, reset = 2, giveAtr = 4 };

// T=1 only (the first interface byte), no parameters of its own, "kSigil" as the issuer's data.
// A card that knows more than T=0 ends it with the XOR of all bytes but the first.
Buffer answerToReset() {
    Buffer atr{0x3B, 0x88, 0x01, 0x80, 0x56, 'k', 'S', 'i', 'g', 'i', 'l'};
    std::uint8_t check = 0;
    for (std::size_t i = 1; i < atr.size(); ++i) {
        check ^= atr[i];
    }
    atr.push_back(check);
    return atr;
}

// Keeps SIGINT and SIGTERM from ending the process, and shows them on a descriptor.
class StopSignals {
  public:
    StopSignals() : descriptor_(open(before_)) {
        if (!descriptor_.isOpen()) {
            throw systemFault("cannot watch", "signals", errno);
        }
    }
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;
    ~StopSignals() {
        signalfd_siginfo taken{};
        while (read(descriptor(), &taken, sizeof taken) > 0) {
            // A signal that is left would end the process behind this one's back.
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

    int descriptor() const { return descriptor_.descriptor(); }
    bool came(milliseconds within = milliseconds{0}) const {
        pollfd watched{descriptor(), POLLIN, 0};
        return poll(&watched, 1, static_cast<int>(within.count())) > 0;
    }

  private:
    static int open(sigset_t& before) {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGINT);
        sigaddset(&set, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &set, &before);
        return signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    }

    sigset_t before_{};
    File descriptor_;
};

class Server {
  public:
    Server(const ImagePlace& place, const ReaderAddress& address,
           const std::function<void(const std::string&)>& say)
        : token_(place), address_(address), say_(say) {}

    void run();

  private:
    bool isInReader();
    void attend(ReaderLink& link, const std::string& where);
    bool answer(ReaderLink& link, Bytes message);
    void switchPower(std::uint8_t control);
    void tell(const std::string& text);

    ServedToken token_;
    const ReaderAddress& address_;
    const std::function<void(const std::string&)>& say_;
    StopSignals stop_;
    std::string lastSaid_;
};

// Says a text once for as long as it stays the same.
void Server::tell(const std::string& text) {
    if (text != lastSaid_) {
        lastSaid_ = text;
        say_(text);
    }
}

bool Server::isInReader() {
    try {
        const bool isIn = token_.isInReader();
        if (!isIn) {
            tell("The token is out of its reader, until it is inserted.");
        }
        return isIn;
    } catch (const Fault& fault) {
        if (stop_.came()) {
            return false;
        }
        tell(std::string("The token is out of its reader: ") + fault.what() + ".");
        return false;
    }
}

void Server::run() {
    const std::string where = "the reader at " + address_.host + ":" + address_.port;
    const EndOfWaits stopping(stop_.descriptor());
    milliseconds pause{0};
    while (!stop_.came(pause)) {
        pause = lookEvery;
        bool reached = false;
        try {
            if (isInReader()) {
                ReaderLink link(address_, stop_.descriptor());
                reached = true;
                attend(link, where);
                pause = stayOut;
            }
        } catch (const Fault& fault) {
            tell((reached ? "Lost " : "Cannot reach ") + where + " (" + fault.what() +
                 "): trying again.");
        }
        token_.powerOff();
    }
}

// Until the token has to leave the reader. A driver may take the connection long before it has a
// use for it, so its first message tells that the token is served.
void Server::attend(ReaderLink& link, const std::string& where) {
    bool isServed = false;
    auto nextLook = Clock::now() + lookEvery;
    bool stays = true;
    while (stays && !stop_.came()) {
        link.receive(static_cast<int>(lookEvery.count()));
        for (auto message = link.next(); stays && message; message = link.next()) {
            if (!isServed) {
                tell("The image " + token_.path() + " is served to " + where + ".");
                isServed = true;
            }
            stays = answer(link, *message);
        }
        if (stays && Clock::now() >= nextLook) {
            stays = !token_.isDisturbed() && isInReader();
            nextLook = Clock::now() + lookEvery;
        }
    }
    if (!stays && token_.isDisturbed()) {
        tell("The token was reset or taken out, and leaves its reader.");
    }
}

// False where the token has to leave the reader: the driver has no other way to be told.
bool Server::answer(ReaderLink& link, Bytes message) {
    if (message.size() > 1) {
        const auto reply = token_.answer(message);
        if (reply) {
            link.send(*reply);
        }
        return reply.has_value();
    }
    if (message.size() == 1 && message[0] == giveAtr) {
        link.send(answerToReset());
    } else if (message.size() == 1) {
        switchPower(message[0]);
    }
    return true;
}

void Server::switchPower(std::uint8_t control) {
    try {
        if (control == off) {
            token_.powerOff();
        } else if (control == on) {
            token_.powerOn();
        } else if (control == reset) {
            token_.reset();
        }
    } catch (const Fault& fault) {
        tell(std::string("The token gets no power: ") + fault.what() + ".");
    }
}

}  // namespace

void serve(const ImagePlace& place, const ReaderAddress& address,
           const std::function<void(const std::string& text)>& say) {
    Server(place, address, say).run();
}

}  // namespace token
