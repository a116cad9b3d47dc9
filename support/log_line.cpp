#include "support/log_line.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "platform/win32.h"

using namespace ksigil;

namespace {

constexpr std::size_t fieldWidth = 10;
constexpr std::size_t longestPath = 1020;  // 255 levels, as many as a selection can name
constexpr std::string_view root = "3f00";

}  // namespace

std::string_view LogPath::text() const {
    const bool isPath = path_.length() % 4 == 0 && path_.length() <= longestPath &&
                        path_.starts_with(root) &&
                        path_.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
    return isPath ? path_ : std::string_view();
}

LogLine::LogLine(LogText label, LogText text) {
    static_assert(2 * fieldWidth + 2 * LogText::longest + longestPath + 3 <= sizeof buffer_);
    addDigits(static_cast<u32>(GetCurrentProcessId()));
    padField(0);
    const std::size_t thread = length_;
    addDigits(static_cast<u32>(GetCurrentThreadId()));
    padField(thread);
    const std::size_t labelStart = length_;
    add(label.text());
    padField(labelStart);
    add(": ");
    add(text.text());
}

void LogLine::addNumber(LogForm form, u32 value) {
    if (form == LogForm::signedDecimal) {
        addDigits(static_cast<std::int32_t>(value));
    } else {
        addDigits(value, form == LogForm::hexadecimal ? 16 : 10);
    }
}

std::string_view LogLine::end() {
    add("\n");
    return {buffer_.data(), length_};
}

void LogLine::add(std::string_view text) {
    length_ += text.copy(buffer_.data() + length_, buffer_.size() - length_);
}

template <std::integral Number>
void LogLine::addDigits(Number value, int base) {
    char* const start = buffer_.data() + length_;
    length_ += static_cast<std::size_t>(
        std::to_chars(start, buffer_.data() + buffer_.size(), value, base).ptr - start);
}

void LogLine::padField(std::size_t start) {
    while (length_ < start + fieldWidth) {
        add(" ");
    }
}
