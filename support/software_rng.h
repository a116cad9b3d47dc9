#pragma once

#include "support/rng.h"

// The last resort, which cannot fail: a pseudo-random generator whose output anyone can work out.
// Its state is the thread's: all objects on a thread draw from one sequence, which starts alike in
// each thread.
class SoftwareRng final : public Rng {
  public:
    // Starts the thread's sequence anew from the first 4 bytes of `material`, or as many as there
    // are, the first one most significant.
    void seed(const std::vector<u8>& material) override;

    u32 sourceKind() const override { return software; }

    // A byte is 0 to 254.
    void generate(u8* buffer, u32 length) override;
    void generate(std::vector<u8>& output, u32 length) override;
};
