#pragma once

#include <map>
#include <mutex>

#include "platform/resource_manager.h"
#include "platform/win32.h"

namespace platform {

// The system's resource manager, reached through the winscard.dll of the system's folder, whose
// results come back unchanged but for this: 6 for an open handle whose service has gone away.
//
// Its handles are wider than the 32 bits given out, so each that is open has a number here.
class SystemResourceManager : public ResourceManager {
  public:
    SystemResourceManager();

    // Whether the DLL was found and has all that is needed; no call else.
    bool isThere() const;

    std::string leadsTo() const override { return "the system's resource manager"; }
    std::uint32_t readers(std::vector<Reader>& readers, std::string& why) override;
    std::uint32_t establish(std::uint32_t scope, std::uint32_t& context, std::string& why) override;
    std::uint32_t release(std::uint32_t context) override;
    std::uint32_t connect(std::uint32_t context, const char* reader, std::uint32_t shareMode,
                          std::uint32_t protocols, std::uint32_t& card,
                          std::uint32_t& activeProtocol, std::string& why) override;
    std::uint32_t reconnect(std::uint32_t card, std::uint32_t shareMode, std::uint32_t protocols,
                            std::uint32_t initialization, std::uint32_t& activeProtocol) override;
    std::uint32_t disconnect(std::uint32_t card, std::uint32_t disposition) override;
    std::uint32_t begin(std::uint32_t card, std::string& why) override;
    std::uint32_t end(std::uint32_t card, std::uint32_t disposition) override;
    std::uint32_t transmit(std::uint32_t card, std::uint32_t protocol, const std::uint8_t* send,
                           std::uint32_t sendLength, std::uint8_t* receive,
                           std::uint32_t& receiveLength) override;

  private:
    struct Card {
        SCARDHANDLE handle;
        std::uint32_t context;
    };

    // 0, which the system gives out neither, for a number of no open handle.
    SCARDCONTEXT contextOf(std::uint32_t number);
    SCARDHANDLE cardOf(std::uint32_t number);
    std::uint32_t newNumber();
    LONG listReaders(SCARDCONTEXT context, std::vector<std::string>& names) const;
    bool holdsToken(SCARDCONTEXT context, const std::string& reader) const;
    std::string noSuchReader(SCARDCONTEXT context, const char* given) const;

    decltype(&SCardEstablishContext) establish_ = nullptr;
    decltype(&SCardReleaseContext) release_ = nullptr;
    decltype(&SCardListReadersA) listReaders_ = nullptr;
    decltype(&SCardGetStatusChangeA) getStatusChange_ = nullptr;
    decltype(&SCardConnectA) connect_ = nullptr;
    decltype(&SCardReconnect) reconnect_ = nullptr;
    decltype(&SCardDisconnect) disconnect_ = nullptr;
    decltype(&SCardBeginTransaction) begin_ = nullptr;
    decltype(&SCardEndTransaction) end_ = nullptr;
    decltype(&SCardTransmit) transmit_ = nullptr;

    std::mutex mutex_;
    std::uint32_t lastNumber_ = 0;
    std::map<std::uint32_t, SCARDCONTEXT> contexts_;
    std::map<std::uint32_t, Card> cards_;
};

}  // namespace platform
