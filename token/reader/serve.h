#pragma once

#include <functional>

#include "token/image/image_place.h"
#include "token/reader/reader_link.h"

namespace token {

// Answers for an image behind a virtual reader's driver, until SIGINT or SIGTERM. Looks for the
// driver again when it goes away, and for the token when it is taken out. `say` is told, in words
// for an operator, what became of both. Throws Fault only where the image cannot be served.
void serve(const ImagePlace& place, const ReaderAddress& address,
           const std::function<void(const std::string& text)>& say);

}  // namespace token
