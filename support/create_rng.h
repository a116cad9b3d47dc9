#pragma once

#include <memory>

#include "support/rng.h"

// The best random source that the machine offers and that gives 4 bytes when asked. Where no
// provider does, a SoftwareRng. Says nothing of those that it passed over.
std::unique_ptr<Rng> createRng();
