#include "support/software_rng.h"

#include <algorithm>
#include <random>

namespace {

thread_local std::mt19937 engine;

constexpr unsigned unusedBits = 32 - 15;  // a draw has 15 bits

}  // namespace

void SoftwareRng::seed(const std::vector<u8>& material) {
    u32 number = 0;
    for (std::size_t i = 0; i < std::min<std::size_t>(material.size(), sizeof number); ++i) {
        number = number << 8 | material[i];
    }
    engine.seed(number);
}

void SoftwareRng::generate(u8* buffer, u32 length) {
    std::generate_n(buffer, length, [] { return static_cast<u8>((engine() >> unusedBits) % 255); });
}

void SoftwareRng::generate(std::vector<u8>& output, u32 length) {
    Rng::generate(output, length);
}
