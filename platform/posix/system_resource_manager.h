#pragma once

#include <map>
#include <mutex>
#include <set>

#include "platform/resource_manager.h"

namespace platform {

// The system's resource manager, reached through libpcsclite, whose results come back unchanged but
// for these:
//
// connect: a reader is also found by its name without the interface and slot that pcsc-lite puts
// behind it; 0x80100009 where there is none of the name.
// A handle that was given out and is not closed, whose pcscd has gone away: 6. Establish and
// connect tell pcsc-lite's own number for that. Where pcscd is there and its reader fails to
// transmit, that stays 0x80100013.
class SystemResourceManager : public ResourceManager {
  public:
    std::string leadsTo() const override { return "the system's resource manager"; }
    std::uint32_t readers(std::vector<Reader>& readers, std::string& why) override;
    std::string listedName(const std::string& given) override;
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
    std::uint32_t resultFor(std::uint32_t handle, long result);

    std::mutex mutex_;
    std::set<std::uint32_t> contexts_;
    std::map<std::uint32_t, std::uint32_t> cards_;  // each with its context
};

}  // namespace platform
