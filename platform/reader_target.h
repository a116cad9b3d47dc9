#pragma once

#include <string>

namespace platform {

// Where the program's reader leads, in words for the banner. Opens nothing and writes nothing.
std::string readerTarget();

// Whether that is the token inside the program.
bool isReaderEmbedded();

}  // namespace platform
