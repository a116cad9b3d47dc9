#pragma once

#include <vector>

#include "include/basic_types.h"

// A source of random bytes. Owned by one object and used by one thread at a time.
class Rng {
  public:
    // Which source an object is.
    static constexpr u32 baseProvider = 0;
    static constexpr u32 strongProvider = 2;
    static constexpr u32 hardwareProvider = 3;
    static constexpr u32 software = 4;

    virtual ~Rng() = default;

    // Feeds material to the source, if it takes any.
    virtual void seed(const std::vector<u8>& material) = 0;

    virtual u32 sourceKind() const = 0;

    // Fills `length` bytes at `buffer`. Throws VDW::RngException where the source fails; the buffer
    // is then of no use.
    virtual void generate(u8* buffer, u32 length) = 0;

    // `output` becomes `length` fresh bytes; after an exception it is as it was. All sources share
    // the definition that stands here.
    virtual void generate(std::vector<u8>& output, u32 length) = 0;
};
