#include "shell/terminal/password.h"

#include <cstring>
#include <cwctype>
#include <iostream>

#include "shell/terminal/utf8.h"

namespace ksigil {
namespace {

constexpr wchar_t killLine = 0x15;  // Ctrl-U
constexpr wchar_t endOfInput = 0x04;

// Reads it behind the question; false if the operator gave it up.
bool readCharacters(Keys& keys, const std::string& question, std::wstring& characters) {
    const Tty::Held held;
    keys.startLine();
    std::cout << question << std::flush;
    characters.reserve(1024);  // so that no shorter copy is left behind, as a rule
    for (;;) {
        const wchar_t key = keys.next();
        if (key == L'\n') {
            return !keys.isDropped() && !keys.hasEnded();
        }
        if (key == endOfInput && characters.empty()) {
            return false;
        }
        if (key == L'\b' || key == 0x7F) {
            characters.resize(characters.empty() ? 0 : characters.size() - 1);
        } else if (key == killLine) {
            characters.clear();
        } else if (key >= L' ' && (key < 0x80 || key >= 0xA0)) {
            characters += key;
        } else if (key == Keys::redraw) {
            std::cout << question << std::flush;
        } else {
            keys.refuse();
        }
    }
}

}  // namespace

void wipe(std::string& text) {
    explicit_bzero(text.data(), text.size());
    text.clear();
}

std::optional<std::string> askPassword(Keys& keys, const std::string& name) {
    std::wstring characters;
    const bool isGiven = readCharacters(keys, "\r" + name + ": ", characters);
    std::cout << '\n' << std::flush;
    std::optional<std::string> password;
    const bool hasBlank = characters.find_first_of(L" \t\n\v\f\r") != std::wstring::npos;
    if (isGiven && !keys.isWhole()) {
        std::cerr << "Not taken: it holds a control character, or bytes that are no UTF-8.\n";
    } else if (isGiven && hasBlank) {
        std::cerr << "Not taken: a password can't hold a blank.\n";
    } else if (isGiven && !characters.empty()) {
        password = utf8Of(characters);
    }
    explicit_bzero(characters.data(), characters.capacity() * sizeof(wchar_t));
    return password;
}

std::optional<std::string> askNewPassword(Keys& keys, const std::string& name) {
    std::optional<std::string> password = askPassword(keys, name);
    if (password) {
        std::optional<std::string> again = askPassword(keys, "Again");
        if (again != password) {
            std::cerr << (again ? "The two differ. The password is as before.\n" : "");
            wipe(*password);
            password.reset();
        }
        if (again) {
            wipe(*again);
        }
    }
    return password;
}

}  // namespace ksigil
