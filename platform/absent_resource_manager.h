#pragma once

#include <memory>

#include "platform/resource_manager.h"

namespace platform {

// Stands where there is no manager to be had: each call gives the one result, and `why`.
class AbsentResourceManager : public ResourceManager {
  public:
    AbsentResourceManager(std::uint32_t result, std::string why)
        : result_(result), why_(std::move(why)) {}

    std::string leadsTo() const override { return "nothing: " + why_; }

    std::uint32_t readers(std::vector<Reader>&, std::string& why) override { return absent(why); }
    std::uint32_t establish(std::uint32_t, std::uint32_t&, std::string& why) override {
        return absent(why);
    }
    std::uint32_t release(std::uint32_t) override { return result_; }
    std::uint32_t connect(std::uint32_t, const char*, std::uint32_t, std::uint32_t, std::uint32_t&,
                          std::uint32_t&, std::string& why) override {
        return absent(why);
    }
    std::uint32_t reconnect(std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,
                            std::uint32_t&) override {
        return result_;
    }
    std::uint32_t disconnect(std::uint32_t, std::uint32_t) override { return result_; }
    std::uint32_t begin(std::uint32_t, std::string& why) override { return absent(why); }
    std::uint32_t end(std::uint32_t, std::uint32_t) override { return result_; }
    std::uint32_t transmit(std::uint32_t, std::uint32_t, const std::uint8_t*, std::uint32_t,
                           std::uint8_t*, std::uint32_t&) override {
        return result_;
    }

  private:
    std::uint32_t absent(std::string& why) const {
        why = why_;
        return result_;
    }

    std::uint32_t result_;
    std::string why_;
};

inline std::unique_ptr<ResourceManager> absentResourceManager(std::int32_t result,
                                                              const std::string& why) {
    return std::make_unique<AbsentResourceManager>(static_cast<std::uint32_t>(result), why);
}

}  // namespace platform
