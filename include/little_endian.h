#pragma once

#include "include/basic_types.h"

namespace ksigil {

// Numbers as they stand in data fields, replies and files of the token: low byte first, at any
// address.

class Le16 {
  public:
    Le16() = default;
    Le16(u16 value) : low_(static_cast<u8>(value)), high_(static_cast<u8>(value >> 8)) {}

    operator u16() const { return static_cast<u16>(low_ | high_ << 8); }

  private:
    u8 low_;
    u8 high_;
};

class Le32 {
  public:
    Le32() = default;
    Le32(u32 value) : low_(static_cast<u16>(value)), high_(static_cast<u16>(value >> 16)) {}

    operator u32() const { return low_ | u32{high_} << 16; }

  private:
    Le16 low_;
    Le16 high_;
};

static_assert(sizeof(Le16) == 2 && alignof(Le16) == 1);
static_assert(sizeof(Le32) == 4 && alignof(Le32) == 1);

}  // namespace ksigil
