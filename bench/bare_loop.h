#pragma once

#include <cstdint>
#include <vector>

// Frames sent by nothing but libpcsclite's own calls. Stands apart from all that has the program's
// PC/SC names.
class BareLoop {
  public:
    // Connects to the reader of exactly this name. All throw std::runtime_error.
    explicit BareLoop(const char* reader);
    BareLoop(const BareLoop&) = delete;
    BareLoop& operator=(const BareLoop&) = delete;
    ~BareLoop();

    // In one transaction. Gives how many bytes came back.
    std::size_t send(const std::vector<std::vector<std::uint8_t>>& frames) const;

  private:
    long context_ = 0;
    long card_ = 0;
};
