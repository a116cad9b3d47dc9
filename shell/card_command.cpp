#include <algorithm>
#include <iostream>

#include "apdulib/error_text.h"
#include "include/result_numbers.h"
#include "platform/win32.h"
#include "shell/hex_byte_writer.h"
#include "shell/qv_shell.h"

QVShell::CardUse QVShell::useCard(const std::function<void()>& work) {
    CardUse use = CardUse::notLocked;
    if (talker.lock() == ksigil::result::success) {
        work();
        const u32 rv = talker.unlock(SCARD_LEAVE_CARD);
        use = rv == ksigil::result::success ? CardUse::complete : CardUse::notUnlocked;
        if (rv != ksigil::result::success) {
            std::cout << "Cannot unlock" << errorText(rv) << '\n';
        }
    }
    std::cin.clear();
    return use;
}

bool QVShell::onCard(const std::function<void()>& work) {
    return useCard(work) == CardUse::complete;
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

void QVShell::report(u32 rv, const char* failure) {
    if (rv == ksigil::result::success) {
        std::cout << "OK.\n";
    } else {
        printFailure(rv, failure);
    }
}

void QVShell::printFailure(u32 rv, const char* failure) {
    std::cout << failure << errorText(rv) << '\n';
}

std::string QVShell::errorText(u32 rv) {
    return ksigil::errorText(rv);
}

void QVShell::printBytes(const std::vector<u8>& bytes) {
    std::copy(bytes.begin(), bytes.end(), HexByteWriter(std::cout));
    std::cout << '\n';
}
