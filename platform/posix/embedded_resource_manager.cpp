#include "platform/posix/embedded_resource_manager.h"

#include <algorithm>
#include <cstring>

#include "platform/win32.h"

namespace platform {
namespace {

constexpr const char* readerName = "VDW ifdh 0";

using token::Disposition;
using token::Outcome;

constexpr std::uint32_t number(LONG result) {
    return static_cast<std::uint32_t>(result);
}

struct Meaning {
    Outcome outcome;
    std::uint32_t result;
    const char* words;
};

constexpr Meaning meanings[] = {
    {Outcome::good, number(SCARD_S_SUCCESS), ""},
    {Outcome::unusable, number(SCARD_W_UNRESPONSIVE_CARD), "its image cannot be used"},
    {Outcome::served, number(SCARD_E_SHARING_VIOLATION), "its image is served to a reader"},
    {Outcome::absent, number(SCARD_E_NO_SMARTCARD), "the token was removed from its reader"},
    {Outcome::removed, number(SCARD_W_REMOVED_CARD), "the token was removed from its reader"},
    {Outcome::reset, number(SCARD_W_RESET_CARD), "the token was reset"},
    {Outcome::notHeld, number(SCARD_E_NOT_TRANSACTED), "there is no transaction"},
};

const Meaning& meaningOf(Outcome outcome) {
    return *std::find_if(std::begin(meanings), std::end(meanings),
                         [outcome](const Meaning& meaning) { return meaning.outcome == outcome; });
}

std::uint32_t resultOf(Outcome outcome) {
    return meaningOf(outcome).result;
}

bool isDisposition(std::uint32_t disposition) {
    return disposition <= SCARD_EJECT_CARD;
}

Disposition dispositionOf(std::uint32_t disposition) {
    return disposition == SCARD_RESET_CARD || disposition == SCARD_UNPOWER_CARD
               ? Disposition::reset
               : Disposition::leave;
}

// Why a connection with these terms cannot be had, 0 if it can.
std::uint32_t checkTerms(std::uint32_t shareMode, std::uint32_t protocols, std::string& why) {
    if (shareMode != SCARD_SHARE_SHARED) {
        why = "the embedded token is shared; no other share mode can be had";
        return number(SCARD_E_UNSUPPORTED_FEATURE);
    }
    if ((protocols & SCARD_PROTOCOL_T1) == 0) {
        why = "the embedded token knows the protocol T=1 only";
        return number(SCARD_E_PROTO_MISMATCH);
    }
    return 0;
}

}  // namespace

std::string EmbeddedResourceManager::leadsTo() const {
    const std::string& path = slot_.place().path;
    return path.empty() ? "the embedded token, whose image has no place"
                        : "the embedded token, image " + path;
}

std::uint32_t EmbeddedResourceManager::newHandle() {
    do {
        ++lastHandle_;
    } while (lastHandle_ == 0 || lastHandle_ == UINT32_MAX || contexts_.contains(lastHandle_) ||
             cards_.contains(lastHandle_));
    return lastHandle_;
}

std::uint32_t EmbeddedResourceManager::readers(std::vector<Reader>& readers, std::string&) {
    readers.push_back({readerName, slot_.hasToken()});
    return number(SCARD_S_SUCCESS);
}

std::uint32_t EmbeddedResourceManager::establish(std::uint32_t, std::uint32_t& context,
                                                 std::string&) {
    const std::lock_guard guard(mutex_);
    context = newHandle();
    contexts_.insert(context);
    return 0;
}

std::uint32_t EmbeddedResourceManager::release(std::uint32_t context) {
    std::map<std::uint32_t, Card> closing;  // closed outside the lock
    const std::lock_guard guard(mutex_);
    if (contexts_.erase(context) == 0) {
        return ERROR_INVALID_HANDLE;
    }
    for (auto card = cards_.begin(); card != cards_.end();) {
        const auto next = std::next(card);
        if (card->second.context == context) {
            closing.insert(cards_.extract(card));
        }
        card = next;
    }
    return 0;
}

std::uint32_t EmbeddedResourceManager::connect(std::uint32_t context, const char* reader,
                                               std::uint32_t shareMode, std::uint32_t protocols,
                                               std::uint32_t& card, std::uint32_t& activeProtocol,
                                               std::string& why) {
    if (std::strcmp(reader, readerName) != 0) {
        why = std::string("there is no reader \"") + reader + "\", only \"" + readerName + "\"";
        return number(SCARD_E_UNKNOWN_READER);
    }
    if (const std::uint32_t refusal = checkTerms(shareMode, protocols, why); refusal != 0) {
        return refusal;
    }
    std::unique_ptr<token::Connection> connection;
    if (const Outcome outcome = slot_.connect(connection, why); outcome != Outcome::good) {
        return resultOf(outcome);
    }
    const std::lock_guard guard(mutex_);
    if (!contexts_.contains(context)) {
        why = "the context is closed";
        return ERROR_INVALID_HANDLE;
    }
    card = newHandle();
    cards_[card] = {context, std::move(connection)};
    activeProtocol = SCARD_PROTOCOL_T1;
    return 0;
}

std::shared_ptr<token::Connection> EmbeddedResourceManager::connectionOf(std::uint32_t card) {
    const std::lock_guard guard(mutex_);
    const auto found = cards_.find(card);
    return found == cards_.end() ? nullptr : found->second.connection;
}

std::shared_ptr<token::Connection> EmbeddedResourceManager::takeCard(std::uint32_t card) {
    const std::lock_guard guard(mutex_);
    const auto taken = cards_.extract(card);
    return taken.empty() ? nullptr : taken.mapped().connection;
}

std::uint32_t EmbeddedResourceManager::reconnect(std::uint32_t card, std::uint32_t shareMode,
                                                 std::uint32_t protocols,
                                                 std::uint32_t initialization,
                                                 std::uint32_t& activeProtocol) {
    const auto connection = connectionOf(card);
    std::string why;
    if (!connection) {
        return ERROR_INVALID_HANDLE;
    }
    if (!isDisposition(initialization)) {
        return number(SCARD_E_INVALID_PARAMETER);
    }
    if (const std::uint32_t refusal = checkTerms(shareMode, protocols, why); refusal != 0) {
        return refusal;
    }
    const Outcome outcome = connection->reconnect(dispositionOf(initialization));
    if (outcome == Outcome::good) {
        activeProtocol = SCARD_PROTOCOL_T1;
    }
    return resultOf(outcome);
}

std::uint32_t EmbeddedResourceManager::disconnect(std::uint32_t card, std::uint32_t disposition) {
    if (!isDisposition(disposition)) {
        return number(SCARD_E_INVALID_PARAMETER);
    }
    const auto connection = takeCard(card);
    if (!connection) {
        return ERROR_INVALID_HANDLE;
    }
    if (dispositionOf(disposition) == Disposition::reset) {
        connection->reset();
    }
    return 0;
}

std::uint32_t EmbeddedResourceManager::begin(std::uint32_t card, std::string& why) {
    const auto connection = connectionOf(card);
    if (!connection) {
        why = "the connection is closed";
        return ERROR_INVALID_HANDLE;
    }
    const Meaning& meaning = meaningOf(connection->begin());
    if (meaning.outcome != Outcome::good) {
        why = meaning.words;
    }
    return meaning.result;
}

std::int32_t EmbeddedResourceManager::holder(std::uint32_t card) {
    const auto connection = connectionOf(card);
    return connection ? connection->holder() : 0;
}

std::uint32_t EmbeddedResourceManager::end(std::uint32_t card, std::uint32_t disposition) {
    const auto connection = connectionOf(card);
    if (!connection) {
        return ERROR_INVALID_HANDLE;
    }
    if (!isDisposition(disposition)) {
        return number(SCARD_E_INVALID_PARAMETER);
    }
    return resultOf(connection->end(dispositionOf(disposition)));
}

std::uint32_t EmbeddedResourceManager::transmit(std::uint32_t card, std::uint32_t protocol,
                                                const std::uint8_t* send, std::uint32_t sendLength,
                                                std::uint8_t* receive,
                                                std::uint32_t& receiveLength) {
    const auto connection = connectionOf(card);
    if (!connection) {
        return ERROR_INVALID_HANDLE;
    }
    if (protocol != SCARD_PROTOCOL_T1) {
        return number(SCARD_E_PROTO_MISMATCH);
    }
    token::Buffer reply;
    const Outcome outcome = connection->transmit({send, sendLength}, reply);
    if (outcome != Outcome::good) {
        return resultOf(outcome);
    }
    const std::uint32_t room = receiveLength;
    receiveLength = static_cast<std::uint32_t>(reply.size());
    if (reply.size() > room) {
        return number(SCARD_E_INSUFFICIENT_BUFFER);
    }
    std::copy(reply.begin(), reply.end(), receive);
    return 0;
}

}  // namespace platform
