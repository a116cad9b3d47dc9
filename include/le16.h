#pragma once

#include "include/basic_types.h"

namespace ksigil {

// A 16-bit number as it stands in data fields and replies: low byte first, at any address.
class Le16 {
  public:
    Le16() = default;
    Le16(u16 value) : low_(static_cast<u8>(value)), high_(static_cast<u8>(value >> 8)) {}

    operator u16() const { return static_cast<u16>(low_ | high_ << 8); }

  private:
    u8 low_;
    u8 high_;
};

static_assert(sizeof(Le16) == 2 && alignof(Le16) == 1);

}  // namespace ksigil
