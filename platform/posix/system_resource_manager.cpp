#include "platform/posix/system_resource_manager.h"

#include <winscard.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace platform {
namespace {

constexpr std::uint32_t invalidHandle = 6;  // ERROR_INVALID_HANDLE, which pcsc-lite does not know

std::uint32_t number(LONG result) {
    return static_cast<std::uint32_t>(result);
}

struct Words {
    LONG result;
    const char* words;
};

constexpr Words words[] = {
    {SCARD_E_NO_SERVICE,
     "no pcscd answers. Is it installed (package pcscd) and started (systemctl start "
     "pcscd.socket)?"},
    {SCARD_F_COMM_ERROR, "pcscd went away; start it again (systemctl start pcscd.socket)"},
    {SCARD_W_SECURITY_VIOLATION,
     "access denied: the rules of polkit for pcscd do not allow it to this user"},
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
    return known != std::end(words) ? known->words : pcsc_stringify_error(result);
}

// Whether the context's pcscd is there.
bool isAnswered(SCARDCONTEXT context) {
    DWORD length = 0;
    const LONG rv = SCardListReaders(context, nullptr, nullptr, &length);
    return rv == SCARD_S_SUCCESS || rv == SCARD_E_NO_READERS_AVAILABLE;
}

bool isLost(LONG result) {
    return result == SCARD_E_NO_SERVICE || result == SCARD_F_COMM_ERROR ||
           result == SCARD_E_INVALID_HANDLE;
}

LONG listReaders(SCARDCONTEXT context, std::vector<std::string>& names) {
    LPSTR list = nullptr;
    DWORD length = SCARD_AUTOALLOCATE;
    // pcsc-lite stores the address of a list of its own where it is told the list would go.
    const LONG rv =
        SCardListReaders(context, nullptr, static_cast<LPSTR>(static_cast<void*>(&list)), &length);
    if (rv == SCARD_E_NO_READERS_AVAILABLE) {
        return SCARD_S_SUCCESS;
    }
    if (rv == SCARD_S_SUCCESS) {
        for (const char* name = list; *name != '\0'; name += names.back().size() + 1) {
            names.emplace_back(name);
        }
        SCardFreeMemory(context, list);
    }
    return rv;
}

// Whether it is the given name with pcsc-lite's interface and slot behind it: " 00 00".
bool isWithSlot(std::string_view listed, std::string_view given) {
    constexpr std::string_view digits = "0123456789abcdefABCDEF";
    if (!listed.starts_with(given)) {
        return false;
    }
    const std::string_view behind = listed.substr(given.size());
    if (behind.size() != 6 || behind[0] != ' ' || behind[3] != ' ') {
        return false;
    }
    const auto isDigit = [digits, behind](std::size_t at) {
        return digits.find(behind[at]) != std::string_view::npos;
    };
    return isDigit(1) && isDigit(2) && isDigit(4) && isDigit(5);
}

bool holdsToken(SCARDCONTEXT context, const std::string& reader) {
    SCARD_READERSTATE state{};
    state.szReader = reader.c_str();
    state.dwCurrentState = SCARD_STATE_UNAWARE;
    return SCardGetStatusChange(context, 0, &state, 1) == SCARD_S_SUCCESS &&
           (state.dwEventState & SCARD_STATE_PRESENT) != 0;
}

// The listed name that is meant; empty if none is.
std::string chooseReader(SCARDCONTEXT context, const std::vector<std::string>& listed,
                         const char* given) {
    if (std::find(listed.begin(), listed.end(), given) != listed.end()) {
        return given;
    }
    std::vector<std::string> meant;
    std::copy_if(listed.begin(), listed.end(), std::back_inserter(meant),
                 [given](const std::string& name) { return isWithSlot(name, given); });
    if (meant.empty()) {
        return "";
    }
    const auto held = meant.size() == 1
                          ? meant.end()
                          : std::find_if(meant.begin(), meant.end(), [&](const std::string& name) {
                                return holdsToken(context, name);
                            });
    return held == meant.end() ? meant.front() : *held;
}

std::string noSuchReader(const char* given, const std::vector<std::string>& listed) {
    std::string text = std::string("there is no reader \"") + given + "\"; ";
    if (listed.empty()) {
        return text + "pcscd knows no reader at all. Is it plugged in, and its driver installed?";
    }
    text += "there are:";
    for (const std::string& name : listed) {
        text += " \"" + name + "\"";
    }
    return text;
}

}  // namespace

// The number that callers get for what pcsc-lite gave: 6 if an open handle's pcscd is gone. A
// transmission error may also be the reader's.
std::uint32_t SystemResourceManager::resultFor(std::uint32_t handle, LONG result) {
    if (!isLost(result)) {
        return number(result);
    }
    std::uint32_t context = handle;
    {
        const std::lock_guard guard(mutex_);
        const auto card = cards_.find(handle);
        if (card != cards_.end()) {
            context = card->second;
        } else if (!contexts_.contains(handle)) {
            return number(result);
        }
    }
    return result == SCARD_F_COMM_ERROR && isAnswered(context) ? number(result) : invalidHandle;
}

std::uint32_t SystemResourceManager::readers(std::vector<Reader>& readers, std::string& why) {
    SCARDCONTEXT context = 0;
    LONG rv = SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context);
    std::vector<std::string> names;
    if (rv == SCARD_S_SUCCESS) {
        rv = listReaders(context, names);
        for (std::string& name : names) {
            const bool hasToken = holdsToken(context, name);
            readers.push_back({std::move(name), hasToken});
        }
        SCardReleaseContext(context);
    }
    if (rv != SCARD_S_SUCCESS) {
        why = wordsFor(rv);
    }
    return number(rv);
}

std::string SystemResourceManager::listedName(const std::string& given) {
    SCARDCONTEXT context = 0;
    std::string name;
    if (SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context) == SCARD_S_SUCCESS) {
        std::vector<std::string> listed;
        if (listReaders(context, listed) == SCARD_S_SUCCESS) {
            name = chooseReader(context, listed, given.c_str());
        }
        SCardReleaseContext(context);
    }
    return name.empty() ? given : name;
}

std::uint32_t SystemResourceManager::establish(std::uint32_t scope, std::uint32_t& context,
                                               std::string& why) {
    SCARDCONTEXT established = 0;
    const LONG rv = SCardEstablishContext(scope, nullptr, nullptr, &established);
    if (rv != SCARD_S_SUCCESS) {
        why = wordsFor(rv);
        return number(rv);
    }
    context = static_cast<std::uint32_t>(established);  // 32 bits wherever pcscd makes one
    const std::lock_guard guard(mutex_);
    contexts_.insert(context);
    return 0;
}

std::uint32_t SystemResourceManager::release(std::uint32_t context) {
    const std::uint32_t rv = resultFor(context, SCardReleaseContext(context));
    if (rv == 0 || rv == invalidHandle) {
        const std::lock_guard guard(mutex_);
        contexts_.erase(context);
        std::erase_if(cards_, [context](const auto& card) { return card.second == context; });
    }
    return rv;
}

std::uint32_t SystemResourceManager::connect(std::uint32_t context, const char* reader,
                                             std::uint32_t shareMode, std::uint32_t protocols,
                                             std::uint32_t& card, std::uint32_t& activeProtocol,
                                             std::string& why) {
    std::vector<std::string> listed;
    LONG rv = listReaders(context, listed);
    if (rv != SCARD_S_SUCCESS) {
        why = wordsFor(rv);
        return number(rv);
    }
    const std::string name = chooseReader(context, listed, reader);
    if (name.empty()) {
        why = noSuchReader(reader, listed);
        return number(SCARD_E_UNKNOWN_READER);
    }
    SCARDHANDLE connected = 0;
    DWORD active = 0;
    rv = SCardConnect(context, name.c_str(), shareMode, protocols, &connected, &active);
    if (rv != SCARD_S_SUCCESS) {
        why = "reader \"" + name + "\": " + wordsFor(rv);
        return number(rv);
    }
    card = static_cast<std::uint32_t>(connected);
    activeProtocol = static_cast<std::uint32_t>(active);
    const std::lock_guard guard(mutex_);
    cards_[card] = context;
    return 0;
}

std::uint32_t SystemResourceManager::reconnect(std::uint32_t card, std::uint32_t shareMode,
                                               std::uint32_t protocols,
                                               std::uint32_t initialization,
                                               std::uint32_t& activeProtocol) {
    DWORD active = 0;
    const LONG rv = SCardReconnect(card, shareMode, protocols, initialization, &active);
    if (rv == SCARD_S_SUCCESS) {
        activeProtocol = static_cast<std::uint32_t>(active);
    }
    return resultFor(card, rv);
}

std::uint32_t SystemResourceManager::disconnect(std::uint32_t card, std::uint32_t disposition) {
    const std::uint32_t rv = resultFor(card, SCardDisconnect(card, disposition));
    if (rv == 0 || rv == invalidHandle) {
        const std::lock_guard guard(mutex_);
        cards_.erase(card);
    }
    return rv;
}

std::uint32_t SystemResourceManager::begin(std::uint32_t card, std::string& why) {
    const LONG rv = SCardBeginTransaction(card);
    const std::uint32_t result = resultFor(card, rv);
    if (result != 0) {
        why = wordsFor(result == invalidHandle ? SCARD_F_COMM_ERROR : rv);
    }
    return result;
}

std::uint32_t SystemResourceManager::end(std::uint32_t card, std::uint32_t disposition) {
    return resultFor(card, SCardEndTransaction(card, disposition));
}

std::uint32_t SystemResourceManager::transmit(std::uint32_t card, std::uint32_t protocol,
                                              const std::uint8_t* send, std::uint32_t sendLength,
                                              std::uint8_t* receive, std::uint32_t& receiveLength) {
    const SCARD_IO_REQUEST header{protocol, sizeof header};
    SCARD_IO_REQUEST replyHeader{};  // of no use here, but libpcscspy looks into it
    DWORD length = receiveLength;
    const LONG rv = SCardTransmit(card, &header, send, sendLength, &replyHeader, receive, &length);
    receiveLength = static_cast<std::uint32_t>(length);
    return resultFor(card, rv);
}

}  // namespace platform
