#include <algorithm>
#include <iostream>

#include "apdulib/error_text.h"
#include "include/result_numbers.h"
#include "platform/win32.h"
#include "shell/hex_byte_writer.h"
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
    return ::errorText(rv);
}

void QVShell::printBytes(const std::vector<u8>& bytes) {
    std::copy(bytes.begin(), bytes.end(), HexByteWriter(std::cout));
    std::cout << '\n';
}
