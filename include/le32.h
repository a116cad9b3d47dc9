#pragma once

#include "include/le16.h"

namespace ksigil {

// A 32-bit number as it stands in a file of the token: low byte first, at any address.
class Le32 {
  public:
    Le32() = default;
    Le32(u32 value) : low_(static_cast<u16>(value)), high_(static_cast<u16>(value >> 16)) {}

    operator u32() const { return low_ | u32{high_} << 16; }

  private:
    Le16 low_;
    Le16 high_;
};

static_assert(sizeof(Le32) == 4 && alignof(Le32) == 1);

}  // namespace ksigil
