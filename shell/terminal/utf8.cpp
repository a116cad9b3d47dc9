#include "shell/terminal/utf8.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <cwchar>
#include <cwctype>

namespace ksigil {

std::string utf8Of(const std::wstring& characters) {
    std::string bytes;
    std::mbstate_t state{};
    for (const wchar_t character : characters) {
        std::array<char, MB_LEN_MAX> one{};
        bytes.append(one.data(), std::wcrtomb(one.data(), character, &state));
    }
    return bytes;
}

bool charactersOf(const std::string& bytes, std::wstring& characters) {
    characters.resize(bytes.size());
    const std::size_t length = std::mbstowcs(characters.data(), bytes.c_str(), characters.size());
    if (length == static_cast<std::size_t>(-1)) {
        return false;
    }
    characters.resize(length);
    return std::none_of(characters.begin(), characters.end(), [](wchar_t character) {
        return std::iswcntrl(static_cast<wint_t>(character)) != 0;
    });
}

}  // namespace ksigil
