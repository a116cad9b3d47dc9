#include <charconv>
#include <iostream>

#include "apdulib/status_message.h"
#include "include/result_numbers.h"
#include "platform/win32.h"
#include "shell/qv_shell.h"

bool QVShell::onCard(const std::function<void()>& work) {
    u32 rv = talker_.lock();
    if (rv == result::success) {
        work();
        rv = talker_.unlock(SCARD_LEAVE_CARD);
        if (rv != result::success) {
            std::cout << "Cannot unlock" << errorText(rv) << '\n';
        }
    }
    std::cin.clear();
    return rv == result::success;
}

std::string QVShell::readWord() {
    std::string word;
    std::cin >> word;
    return word;
}

std::vector<u8> QVShell::readBytes() {
    const std::string word = readWord();
    return {word.begin(), word.end()};
}

u32 QVShell::readNumber() {
    u32 number = 0;
    std::cin >> number;
    return std::cin.fail() ? 0 : number;
}

std::optional<bool> QVShell::readChoice(const Choice& choice) {
    const std::string word = readWord();
    std::optional<bool> chosen;
    if (word == choice.yes || word == choice.no) {
        chosen = word == choice.yes;
    }
    return chosen;
}

void QVShell::report(u32 rv, const char* failure) {
    if (rv == result::success) {
        std::cout << "OK.\n";
    } else {
        printFailure(rv, failure);
    }
}

void QVShell::printFailure(u32 rv, const char* failure) {
    std::cout << failure << errorText(rv) << '\n';
}

std::string QVShell::errorText(u32 rv) {
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
