#include "libksigil/reason.h"

#include <algorithm>
#include <array>
#include <utility>

#include "include/ksigil.h"
#include "include/result_numbers.h"
#include "libksigil/result_words.h"

namespace ksigil {
namespace {

// Of a fixed size, so that it can be kept where memory has run out, and needs no end of its thread.
thread_local std::array<char, 1024> reasonOfThread{};
thread_local const char* known = nullptr;  // why the operation that is under way will fail

}  // namespace

u32 because(u32 rv, const char* why) noexcept {
    known = why;
    return rv;
}

u32 withReason(u32 rv, std::string_view why) noexcept {
    const char* const cause = std::exchange(known, nullptr);
    if (rv != result::success) {
        const std::string_view words = !why.empty()       ? why
                                       : cause != nullptr ? cause
                                                          : reasonFor(rv);
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
