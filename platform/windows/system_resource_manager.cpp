#include "platform/windows/system_resource_manager.h"

#include <algorithm>

#include "platform/windows/system_library.h"

namespace platform {
namespace {

std::uint32_t number(LONG result) {
    return static_cast<std::uint32_t>(result);
}

struct Words {
    LONG result;
    const char* words;
};

constexpr Words words[] = {
    {ERROR_INVALID_HANDLE, "the Smart Card service went away; start again"},
    {SCARD_E_NO_SERVICE, "the Smart Card service (SCardSvr) does not run. Is a reader plugged in?"},
    {SCARD_E_SERVICE_STOPPED, "the Smart Card service (SCardSvr) was stopped; start it again"},
    {SCARD_W_SECURITY_VIOLATION, "access to the Smart Card service is denied to this user"},
    {SCARD_E_NO_SMARTCARD, "there is no token in the reader; put it in"},
    {SCARD_W_REMOVED_CARD, "the token was removed from its reader; put it in and start again"},
    {SCARD_W_RESET_CARD, "the token was reset; start again"},
    {SCARD_E_SHARING_VIOLATION, "another program has the token to itself; end that use"},
    {SCARD_W_UNRESPONSIVE_CARD, "the token does not answer; take it out and put it in again"},
    {SCARD_W_UNPOWERED_CARD, "the token does not answer; take it out and put it in again"},
    {SCARD_E_READER_UNAVAILABLE, "the reader is gone; plug it in again"},
    {SCARD_E_PROTO_MISMATCH, "the token or its reader knows neither T=0 nor T=1"},
};

std::string wordsFor(LONG result) {
    const auto* const known =
        std::find_if(std::begin(words), std::end(words),
                     [result](const Words& entry) { return entry.result == result; });
    return known != std::end(words) ? known->words : "the Smart Card service refused";
}

// The number that callers get for what a call on an open handle gave.
std::uint32_t resultFor(LONG result) {
    const bool isLost = result == SCARD_E_NO_SERVICE || result == SCARD_E_SERVICE_STOPPED ||
                        result == SCARD_E_INVALID_HANDLE;
    return isLost ? ERROR_INVALID_HANDLE : number(result);
}

}  // namespace

SystemResourceManager::SystemResourceManager() {
    const HMODULE library = systemLibrary("winscard.dll");
    if (library != nullptr) {
        take(library, "SCardEstablishContext", establish_);
        take(library, "SCardReleaseContext", release_);
        take(library, "SCardListReadersA", listReaders_);
        take(library, "SCardGetStatusChangeA", getStatusChange_);
        take(library, "SCardConnectA", connect_);
        take(library, "SCardReconnect", reconnect_);
        take(library, "SCardDisconnect", disconnect_);
        take(library, "SCardBeginTransaction", begin_);
        take(library, "SCardEndTransaction", end_);
        take(library, "SCardTransmit", transmit_);
    }
}

bool SystemResourceManager::isThere() const {
    return establish_ != nullptr && release_ != nullptr && listReaders_ != nullptr &&
           getStatusChange_ != nullptr && connect_ != nullptr && reconnect_ != nullptr &&
           disconnect_ != nullptr && begin_ != nullptr && end_ != nullptr && transmit_ != nullptr;
}

SCARDCONTEXT SystemResourceManager::contextOf(std::uint32_t number) {
    const std::lock_guard guard(mutex_);
    const auto found = contexts_.find(number);
    return found == contexts_.end() ? 0 : found->second;
}

SCARDHANDLE SystemResourceManager::cardOf(std::uint32_t number) {
    const std::lock_guard guard(mutex_);
    const auto found = cards_.find(number);
    return found == cards_.end() ? 0 : found->second.handle;
}

std::uint32_t SystemResourceManager::newNumber() {
    do {
        ++lastNumber_;
    } while (lastNumber_ == 0 || contexts_.contains(lastNumber_) || cards_.contains(lastNumber_));
    return lastNumber_;
}

LONG SystemResourceManager::listReaders(SCARDCONTEXT context,
                                        std::vector<std::string>& names) const {
    std::string list;
    DWORD length = 0;
    LONG rv = listReaders_(context, nullptr, nullptr, &length);
    // A reader that is plugged in between may make it longer.
    while (rv == SCARD_S_SUCCESS && list.size() < length) {
        list.resize(length);
        rv = listReaders_(context, nullptr, list.data(), &length);
        if (rv == SCARD_E_INSUFFICIENT_BUFFER) {
            rv = listReaders_(context, nullptr, nullptr, &length);
        }
    }
    if (rv == SCARD_S_SUCCESS) {
        list.resize(length);
        for (std::size_t at = 0; at < list.size() && list[at] != '\0';
             at += names.back().size() + 1) {
            names.emplace_back(list.c_str() + at);
        }
    }
    return rv == SCARD_E_NO_READERS_AVAILABLE ? SCARD_S_SUCCESS : rv;
}

bool SystemResourceManager::holdsToken(SCARDCONTEXT context, const std::string& reader) const {
    SCARD_READERSTATEA state{};
    state.szReader = reader.c_str();
    state.dwCurrentState = SCARD_STATE_UNAWARE;
    return getStatusChange_(context, 0, &state, 1) == SCARD_S_SUCCESS &&
           (state.dwEventState & SCARD_STATE_PRESENT) != 0;
}

std::string SystemResourceManager::noSuchReader(SCARDCONTEXT context, const char* given) const {
    std::vector<std::string> listed;
    listReaders(context, listed);
    std::string text = std::string("there is no reader \"") + given + "\"; ";
    if (listed.empty()) {
        return text + "the system knows no reader at all. Is it plugged in?";
    }
    text += "there are:";
    for (const std::string& name : listed) {
        text += " \"" + name + "\"";
    }
    return text;
}

std::uint32_t SystemResourceManager::readers(std::vector<Reader>& readers, std::string& why) {
    SCARDCONTEXT context = 0;
    LONG rv = establish_(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context);
    std::vector<std::string> names;
    if (rv == SCARD_S_SUCCESS) {
        rv = listReaders(context, names);
        for (std::string& name : names) {
            const bool hasToken = holdsToken(context, name);
            readers.push_back({std::move(name), hasToken});
        }
        release_(context);
    }
    if (rv != SCARD_S_SUCCESS) {
        why = wordsFor(rv);
    }
    return number(rv);
}

std::uint32_t SystemResourceManager::establish(std::uint32_t scope, std::uint32_t& context,
                                               std::string& why) {
    SCARDCONTEXT established = 0;
    const LONG rv = establish_(scope, nullptr, nullptr, &established);
    if (rv != SCARD_S_SUCCESS) {
        why = wordsFor(rv);
        return number(rv);
    }
    const std::lock_guard guard(mutex_);
    context = newNumber();
    contexts_[context] = established;
    return 0;
}

std::uint32_t SystemResourceManager::release(std::uint32_t context) {
    const std::uint32_t rv = resultFor(release_(contextOf(context)));
    if (rv == 0 || rv == ERROR_INVALID_HANDLE) {
        const std::lock_guard guard(mutex_);
        contexts_.erase(context);
        std::erase_if(cards_,
                      [context](const auto& card) { return card.second.context == context; });
    }
    return rv;
}

std::uint32_t SystemResourceManager::connect(std::uint32_t context, const char* reader,
                                             std::uint32_t shareMode, std::uint32_t protocols,
                                             std::uint32_t& card, std::uint32_t& activeProtocol,
                                             std::string& why) {
    const SCARDCONTEXT known = contextOf(context);
    SCARDHANDLE connected = 0;
    DWORD active = 0;
    const LONG rv = connect_(known, reader, shareMode, protocols, &connected, &active);
    if (rv != SCARD_S_SUCCESS) {
        why = rv == SCARD_E_UNKNOWN_READER
                  ? noSuchReader(known, reader)
                  : std::string("reader \"") + reader + "\": " + wordsFor(rv);
        return number(rv);
    }
    const std::lock_guard guard(mutex_);
    card = newNumber();
    cards_[card] = {connected, context};
    activeProtocol = active;
    return 0;
}

std::uint32_t SystemResourceManager::reconnect(std::uint32_t card, std::uint32_t shareMode,
                                               std::uint32_t protocols,
                                               std::uint32_t initialization,
                                               std::uint32_t& activeProtocol) {
    DWORD active = 0;
    const LONG rv = reconnect_(cardOf(card), shareMode, protocols, initialization, &active);
    if (rv == SCARD_S_SUCCESS) {
        activeProtocol = active;
    }
    return resultFor(rv);
}

std::uint32_t SystemResourceManager::disconnect(std::uint32_t card, std::uint32_t disposition) {
    const std::uint32_t rv = resultFor(disconnect_(cardOf(card), disposition));
    if (rv == 0 || rv == ERROR_INVALID_HANDLE) {
        const std::lock_guard guard(mutex_);
        cards_.erase(card);
    }
    return rv;
}

std::uint32_t SystemResourceManager::begin(std::uint32_t card, std::string& why) {
    const std::uint32_t rv = resultFor(begin_(cardOf(card)));
    if (rv != 0) {
        why = wordsFor(static_cast<LONG>(rv));
    }
    return rv;
}

std::uint32_t SystemResourceManager::end(std::uint32_t card, std::uint32_t disposition) {
    return resultFor(end_(cardOf(card), disposition));
}

std::uint32_t SystemResourceManager::transmit(std::uint32_t card, std::uint32_t protocol,
                                              const std::uint8_t* send, std::uint32_t sendLength,
                                              std::uint8_t* receive, std::uint32_t& receiveLength) {
    const SCARD_IO_REQUEST header{protocol, sizeof header};
    DWORD length = receiveLength;
    const LONG rv = transmit_(cardOf(card), &header, send, sendLength, nullptr, receive, &length);
    receiveLength = length;
    return resultFor(rv);
}

}  // namespace platform
