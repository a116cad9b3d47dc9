#include "libksigil/reason.h"

#include <algorithm>
#include <array>

#include "include/ksigil.h"
#include "include/result_numbers.h"
#include "libksigil/result_words.h"

namespace ksigil {
namespace {

// Of a fixed size, so that it can be kept where memory has run out, and needs no end of its thread.
thread_local std::array<char, 1024> reasonOfThread{};

}  // namespace

u32 withReason(u32 rv, std::string_view why) noexcept {
    if (rv != result::success) {
        const std::string_view words = why.empty() ? reasonFor(rv) : why;
        const std::size_t length = std::min(words.size(), reasonOfThread.size() - 1);
        std::copy_n(words.begin(), length, reasonOfThread.begin());
        reasonOfThread[length] = '\0';
    }
    return rv;
}

}  // namespace ksigil

const char* ksigil_reason(void) {
    return ksigil::reasonOfThread.data();
}
