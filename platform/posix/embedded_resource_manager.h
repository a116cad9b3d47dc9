#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <set>

#include "platform/resource_manager.h"
#include "token/door/slot.h"

namespace platform {

// The resource manager inside the program: one reader, "VDW ifdh 0", with the software token in it.
//
// connect: 0x80100009 for another reader; 0x80100022 for a share mode other than shared; 0x8010000F
// without T=1; 0x8010000C where the token was removed; 0x80100066 where its image cannot be used;
// 0x8010000B where a program serves the image to a reader.
// Handles that were not given out or are closed: 6. Disposition 3 (eject) leaves the token as it
// is, for the reader has no motor; one above 3 is 0x80100004.
class EmbeddedResourceManager : public ResourceManager {
  public:
    explicit EmbeddedResourceManager(token::ImagePlace place) : slot_(std::move(place)) {}

    std::string leadsTo() const override;
    bool isEmbedded() const override { return true; }
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
    std::int32_t holder(std::uint32_t card) override;
    std::uint32_t end(std::uint32_t card, std::uint32_t disposition) override;
    std::uint32_t transmit(std::uint32_t card, std::uint32_t protocol, const std::uint8_t* send,
                           std::uint32_t sendLength, std::uint8_t* receive,
                           std::uint32_t& receiveLength) override;

  private:
    struct Card {
        std::uint32_t context;
        std::shared_ptr<token::Connection> connection;
    };

    std::uint32_t newHandle();
    std::shared_ptr<token::Connection> connectionOf(std::uint32_t card);
    std::shared_ptr<token::Connection> takeCard(std::uint32_t card);

    token::Slot slot_;
    std::mutex mutex_;
    std::uint32_t lastHandle_ = 0;
    std::set<std::uint32_t> contexts_;
    std::map<std::uint32_t, Card> cards_;
};

}  // namespace platform
