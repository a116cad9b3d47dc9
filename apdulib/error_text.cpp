#include "apdulib/error_text.h"

#include <charconv>

#include "apdulib/status_message.h"
#include "include/result_numbers.h"

std::string ksigil::errorText(u32 rv) {
    std::string text;
    if (result::isStatusWord(rv)) {
        text += statusMessage(static_cast<u16>(rv));
        text += ' ';
    }
    if (rv == result::invalidArgument) {
        text += "Invalid Parameter.";
    }
    char digits[8];
    const auto [end, error] = std::to_chars(std::begin(digits), std::end(digits), rv, 16);
    return text.append("0x").append(digits, end);
}
