#pragma once

#include "platform/resource_manager.h"

// Answers every call at once, each frame with the status word 0x9000.
class InstantResourceManager : public platform::ResourceManager {
  public:
    std::string leadsTo() const override { return "nothing"; }
    std::uint32_t readers(std::vector<Reader>&, std::string&) override { return 0; }
    std::uint32_t establish(std::uint32_t, std::uint32_t& context, std::string&) override {
        context = 1;
        return 0;
    }
    std::uint32_t release(std::uint32_t) override { return 0; }
    std::uint32_t connect(std::uint32_t, const char*, std::uint32_t, std::uint32_t,
                          std::uint32_t& card, std::uint32_t& activeProtocol,
                          std::string&) override {
        card = 1;
        activeProtocol = 2;
        return 0;
    }
    std::uint32_t reconnect(std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,
                            std::uint32_t&) override {
        return 0;
    }
    std::uint32_t disconnect(std::uint32_t, std::uint32_t) override { return 0; }
    std::uint32_t begin(std::uint32_t, std::string&) override { return 0; }
    std::uint32_t end(std::uint32_t, std::uint32_t) override { return 0; }
    std::uint32_t transmit(std::uint32_t, std::uint32_t, const std::uint8_t*, std::uint32_t,
                           std::uint8_t* receive, std::uint32_t& receiveLength) override {
        receive[0] = 0x00;
        receive[1] = 0x90;
        receiveLength = 2;
        return 0;
    }
};
