// A winscard.dll for programs under Wine, whose own is a stub. It passes the calls on to broker.py,
// at the port KSIGIL_BROKER, over a stream for each connection to the token.

#include <winsock2.h>

#include <winscard.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace {

constexpr char reader[] = "VDW ifdh 0\0";  // a list of one

// A request is a line of words. So is a reply: the result, and at most one more, in hexadecimal.
class Stream {
  public:
    Stream() : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
        const char* const port = std::getenv("KSIGIL_BROKER");
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<u_short>(port == nullptr ? 0 : std::atoi(port)));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    ~Stream() { closesocket(socket_); }

    LONG ask(const std::string& request, std::string* word = nullptr) {
        const std::lock_guard guard(mutex_);
        const std::string line = request + "\n";
        send(socket_, line.data(), static_cast<int>(line.size()), 0);
        std::string reply;
        while (!reply.ends_with('\n')) {
            char bytes[4096];
            const int length = recv(socket_, bytes, sizeof bytes, 0);
            if (length <= 0) {
                return SCARD_E_SERVICE_STOPPED;
            }
            reply.append(bytes, static_cast<std::size_t>(length));
        }
        char* rest = nullptr;
        const unsigned long result = std::strtoul(reply.c_str(), &rest, 16);
        if (word != nullptr) {
            *word = *rest == ' ' ? std::string(rest + 1, reply.data() + reply.size() - 1) : "";
        }
        return static_cast<LONG>(result);
    }

  private:
    std::mutex mutex_;
    SOCKET socket_;
};

struct Card {
    SCARDCONTEXT context;
    std::shared_ptr<Stream> stream;
};

std::mutex mutex;                              // over what follows
ULONG_PTR lastHandle = 0xCD00'0000'0000'0000;  // as on Windows, handles need their 64 bits
std::set<SCARDCONTEXT> contexts;
std::map<SCARDHANDLE, Card> cards;

bool isOpen(SCARDCONTEXT context) {
    const std::lock_guard guard(mutex);
    return contexts.contains(context);
}

LONG ask(SCARDHANDLE card, const std::string& request, std::string* word = nullptr) {
    std::unique_lock guard(mutex);
    const auto found = cards.find(card);
    if (found == cards.end()) {
        return ERROR_INVALID_HANDLE;
    }
    const std::shared_ptr<Stream> stream = found->second.stream;
    guard.unlock();
    return stream->ask(request, word);
}

}  // namespace

LONG SCardEstablishContext(DWORD, LPCVOID, LPCVOID, SCARDCONTEXT* context) {
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
    if (Stream().ask("look") != SCARD_S_SUCCESS) {
        return SCARD_E_NO_SERVICE;
    }
    const std::lock_guard guard(mutex);
    *context = ++lastHandle;
    contexts.insert(*context);
    return SCARD_S_SUCCESS;
}

LONG SCardReleaseContext(SCARDCONTEXT context) {
    const std::lock_guard guard(mutex);
    std::erase_if(cards, [context](const auto& card) { return card.second.context == context; });
    return contexts.erase(context) == 1 ? SCARD_S_SUCCESS : ERROR_INVALID_HANDLE;
}

LONG SCardListReadersA(SCARDCONTEXT context, LPCSTR, LPSTR names, DWORD* length) {
    const DWORD room = *length;
    *length = sizeof reader;
    if (!isOpen(context)) {
        return ERROR_INVALID_HANDLE;
    }
    if (names != nullptr && room < sizeof reader) {
        return SCARD_E_INSUFFICIENT_BUFFER;
    }
    if (names != nullptr) {
        std::memcpy(names, reader, sizeof reader);
    }
    return SCARD_S_SUCCESS;
}

LONG SCardGetStatusChangeA(SCARDCONTEXT context, DWORD, LPSCARD_READERSTATEA states, DWORD count) {
    std::string present;
    if (!isOpen(context)) {
        return ERROR_INVALID_HANDLE;
    }
    const LONG rv = Stream().ask("look", &present);
    for (DWORD i = 0; i < count; ++i) {
        states[i].dwEventState = present == "1" ? SCARD_STATE_PRESENT : SCARD_STATE_EMPTY;
    }
    return rv;
}

LONG SCardConnectA(SCARDCONTEXT context, LPCSTR name, DWORD shareMode, DWORD protocols,
                   SCARDHANDLE* card, DWORD* activeProtocol) {
    if (!isOpen(context)) {
        return ERROR_INVALID_HANDLE;
    }
    if (std::strcmp(name, reader) != 0) {
        return SCARD_E_UNKNOWN_READER;
    }
    if (shareMode != SCARD_SHARE_SHARED || (protocols & SCARD_PROTOCOL_T1) == 0) {
        return SCARD_E_INVALID_VALUE;
    }
    auto stream = std::make_shared<Stream>();
    const LONG rv = stream->ask("connect");
    if (rv == SCARD_S_SUCCESS) {
        const std::lock_guard guard(mutex);
        *card = ++lastHandle;
        *activeProtocol = SCARD_PROTOCOL_T1;
        cards[*card] = {context, std::move(stream)};
    }
    return rv;
}

LONG SCardReconnect(SCARDHANDLE card, DWORD, DWORD, DWORD initialization, DWORD* activeProtocol) {
    *activeProtocol = SCARD_PROTOCOL_T1;
    return ask(card, "reconnect " + std::to_string(initialization));
}

LONG SCardDisconnect(SCARDHANDLE card, DWORD disposition) {
    const LONG rv = ask(card, "disconnect " + std::to_string(disposition));
    const std::lock_guard guard(mutex);
    cards.erase(card);
    return rv;
}

LONG SCardBeginTransaction(SCARDHANDLE card) {
    return ask(card, "begin");
}

LONG SCardEndTransaction(SCARDHANDLE card, DWORD disposition) {
    return ask(card, "end " + std::to_string(disposition));
}

LONG SCardTransmit(SCARDHANDLE card, LPCSCARD_IO_REQUEST header, LPCBYTE bytes, DWORD length,
                   LPSCARD_IO_REQUEST, LPBYTE reply, DWORD* replyLength) {
    if (header->dwProtocol != SCARD_PROTOCOL_T1) {
        return SCARD_E_PROTO_MISMATCH;
    }
    std::string request = "transmit ";
    for (DWORD i = 0; i < length; ++i) {
        request += "0123456789ABCDEF"[bytes[i] >> 4];
        request += "0123456789ABCDEF"[bytes[i] & 15];
    }
    std::string hex;
    const LONG rv = ask(card, request, &hex);
    if (rv != SCARD_S_SUCCESS) {
        return rv;
    }
    const DWORD room = *replyLength;
    *replyLength = static_cast<DWORD>(hex.size() / 2);
    if (*replyLength > room) {
        return SCARD_E_INSUFFICIENT_BUFFER;
    }
    for (DWORD i = 0; i < *replyLength; ++i) {
        reply[i] = static_cast<BYTE>(std::stoul(hex.substr(2 * i, 2), nullptr, 16));
    }
    return SCARD_S_SUCCESS;
}
