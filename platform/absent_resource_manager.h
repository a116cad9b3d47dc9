#pragma once

#include "platform/resource_manager.h"

namespace platform {

// Stands where KSIGIL_PCSC names a manager that there is not: each call gives 0x8010001D.
class AbsentResourceManager : public ResourceManager {
  public:
    explicit AbsentResourceManager(std::string why) : why_(std::move(why)) {}

    std::string leadsTo() const override { return "nothing: " + why_; }

    std::uint32_t establish(std::uint32_t, std::uint32_t&, std::string& why) override {
        return absent(why);
    }
    std::uint32_t release(std::uint32_t) override { return noService; }
    std::uint32_t connect(std::uint32_t, const char*, std::uint32_t, std::uint32_t, std::uint32_t&,
                          std::uint32_t&, std::string& why) override {
        return absent(why);
    }
    std::uint32_t reconnect(std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,
                            std::uint32_t&) override {
        return noService;
    }
    std::uint32_t disconnect(std::uint32_t, std::uint32_t) override { return noService; }
    std::uint32_t begin(std::uint32_t, std::string& why) override { return absent(why); }
    std::uint32_t end(std::uint32_t, std::uint32_t) override { return noService; }
    std::uint32_t transmit(std::uint32_t, std::uint32_t, const std::uint8_t*, std::uint32_t,
                           std::uint8_t*, std::uint32_t&) override {
        return noService;
    }

  private:
    static constexpr std::uint32_t noService = 0x8010001D;

    std::uint32_t absent(std::string& why) const {
        why = why_;
        return noService;
    }

    std::string why_;
};

}  // namespace platform
