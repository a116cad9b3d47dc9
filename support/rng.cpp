#include "support/rng.h"

void Rng::generate(std::vector<u8>& output, u32 length) {
    std::vector<u8> fresh(length);
    generate(fresh.data(), length);
    output.clear();
    output.insert(output.end(), fresh.begin(), fresh.end());
}
