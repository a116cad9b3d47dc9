#include "token/reader/reader_link.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <memory>
#include <system_error>

#include "token/base/fault.h"

namespace token {
namespace {

constexpr int connectWithin = 5000;  // milliseconds

// A machine that dies says nothing. It is asked after a while without a word, and one that leaves
// what was sent or asked without an answer is lost.
constexpr int askAfter = 4;        // seconds
constexpr int askEvery = 2;        // seconds
constexpr int lostAfter = 10'000;  // milliseconds

Fault failed(int error) {
    return Fault(std::generic_category().message(error));
}

// Whether the socket is ready.
bool waitFor(int socket, short events, int stop, int milliseconds) {
    std::array<pollfd, 2> watched{{{socket, events, 0}, {stop, POLLIN, 0}}};
    return poll(watched.data(), watched.size(), milliseconds) > 0 && watched[0].revents != 0;
}

// 0, or the error.
int connectTo(int socket, const addrinfo& address, int stop) {
    if (connect(socket, address.ai_addr, address.ai_addrlen) == 0) {
        return 0;
    }
    if (errno != EINPROGRESS) {
        return errno;
    }
    if (!waitFor(socket, POLLOUT, stop, connectWithin)) {
        return ETIMEDOUT;
    }
    int error = 0;
    socklen_t length = sizeof error;
    getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &length);
    return error;
}

int openSocket(const ReaderAddress& address, int stop) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int result = getaddrinfo(address.host.c_str(), address.port.c_str(), &hints, &found);
    if (result != 0) {
        throw Fault(gai_strerror(result));
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> all(found, freeaddrinfo);
    int error = 0;
    for (const addrinfo* one = found; one != nullptr; one = one->ai_next) {
        const int descriptor =
            socket(one->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        error = descriptor < 0 ? errno : connectTo(descriptor, *one, stop);
        if (error == 0) {
            return descriptor;
        }
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
    throw failed(error);
}

void setOption(const File& socket, int level, int option, int value) {
    setsockopt(socket.descriptor(), level, option, &value, sizeof value);
}

}  // namespace

ReaderLink::ReaderLink(const ReaderAddress& address, int stop)
    : stop_(stop), socket_(openSocket(address, stop)) {
    setOption(socket_, IPPROTO_TCP, TCP_NODELAY, 1);
    setOption(socket_, SOL_SOCKET, SO_KEEPALIVE, 1);
    setOption(socket_, IPPROTO_TCP, TCP_KEEPIDLE, askAfter);
    setOption(socket_, IPPROTO_TCP, TCP_KEEPINTVL, askEvery);
    setOption(socket_, IPPROTO_TCP, TCP_USER_TIMEOUT, lostAfter);
}

void ReaderLink::receive(int milliseconds) {
    if (!waitFor(socket_.descriptor(), POLLIN, stop_, milliseconds)) {
        return;
    }
    // The driver sends a length and its body apart, and the body only once the length was
    // acknowledged: at once here, not in 40 ms.
    setOption(socket_, IPPROTO_TCP, TCP_QUICKACK, 1);
    std::array<std::uint8_t, 4096> bytes;
    const ssize_t length = recv(socket_.descriptor(), bytes.data(), bytes.size(), 0);
    if (length == 0) {
        throw Fault("it closed the connection");
    }
    if (length < 0 && errno != EAGAIN && errno != EINTR) {
        throw failed(errno);
    }
    received_.insert(received_.end(), bytes.begin(), bytes.begin() + std::max<ssize_t>(length, 0));
}

std::optional<Buffer> ReaderLink::next() {
    constexpr std::size_t head = 2;
    if (received_.size() < head) {
        return std::nullopt;
    }
    const std::size_t length = get16BigEndian(received_, 0);
    if (received_.size() < head + length) {
        return std::nullopt;
    }
    const auto begin = received_.begin() + head;
    const auto end = begin + static_cast<std::ptrdiff_t>(length);
    Buffer message(begin, end);
    received_.erase(received_.begin(), end);
    return message;
}

// Replies are far smaller than what a socket takes at once, and the driver waits for each.
void ReaderLink::send(Bytes message) {
    Buffer bytes;
    put16BigEndian(bytes, static_cast<std::uint16_t>(message.size()));
    bytes.insert(bytes.end(), message.begin(), message.end());
    const ssize_t sent = ::send(socket_.descriptor(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent != static_cast<ssize_t>(bytes.size())) {
        throw sent < 0 ? failed(errno) : Fault("it takes no replies");
    }
}

}  // namespace token
