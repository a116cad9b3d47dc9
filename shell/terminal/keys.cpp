#include "shell/terminal/keys.h"

#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>
#include <utility>

namespace ksigil {
namespace {

constexpr unsigned char escape = 0x1B;
constexpr unsigned char deleteCharacter = 0x7F;

// A sequence's bytes come together; an Escape key comes alone.
constexpr int escapeAlone = 100;     // milliseconds
constexpr int restOfPaste = 60'000;  // likewise: in a paste there are bytes behind an Escape
constexpr int forever = -1;
constexpr unsigned char startOutput = 0x11;
constexpr unsigned char stopOutput = 0x13;

constexpr std::pair<std::string_view, wchar_t> sequences[] = {
    {"A", Keys::up},          {"B", Keys::down},         {"C", Keys::right},
    {"D", Keys::left},        {"H", Keys::home},         {"F", Keys::end},
    {"1~", Keys::home},       {"4~", Keys::end},         {"7~", Keys::home},
    {"8~", Keys::end},        {"3~", Keys::remove},      {"1;5C", Keys::wordRight},
    {"1;5D", Keys::wordLeft}, {"1;3C", Keys::wordRight}, {"1;3D", Keys::wordLeft},
};

constexpr std::string_view pasteBegins = "200~";
constexpr std::string_view pasteEnds = "201~";

// How many bytes a character of UTF-8 has by its first one, 0 if none begins so.
int lengthBy(unsigned char first) {
    if (first < 0x80) {
        return 1;
    }
    if (first >= 0xC2 && first < 0xE0) {
        return 2;
    }
    if (first >= 0xE0 && first < 0xF0) {
        return 3;
    }
    return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

bool isScalar(wchar_t value, int length) {
    constexpr wchar_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    return value >= least[length] && value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
}

}  // namespace

void Keys::startLine() {
    isDropped_ = false;
    isWhole_ = true;
}

int Keys::byte(int milliseconds) {
    while (at_ == end_) {
        const Tty::Event met = Tty::wait(milliseconds);
        if (met == Tty::Event::redraw && milliseconds != forever) {
            isRedrawDue_ = true;
            continue;
        }
        if (met != Tty::Event::key) {
            isDropped_ = isDropped_ || met == Tty::Event::interrupt;
            isPasting_ = isPasting_ && !isDropped_;
            return none;
        }
        const ssize_t count = read(STDIN_FILENO, bytes_.data(), bytes_.size());
        if (count == 0 || (count < 0 && errno != EINTR && errno != EAGAIN)) {
            hasEnded_ = true;
            return none;
        }
        at_ = 0;
        end_ = count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return bytes_[at_++];
}

wchar_t Keys::refuse() {
    isWhole_ = false;
    return refused;
}

wchar_t Keys::next() {
    if (std::exchange(isRedrawDue_, false)) {
        return redraw;
    }
    for (;;) {
        const int got = byte(forever);
        if (got == none) {
            return isDropped_ || hasEnded_ ? L'\n' : static_cast<wchar_t>(redraw);
        }
        const auto first = static_cast<unsigned char>(got);
        if (first == escape) {
            if (const wchar_t key = afterEscape(); key != 0) {
                return key;
            }
        } else if (first == '\r' || first == '\n') {
            return L'\n';
        } else if (isPasting_ && first == '\t') {
            return L' ';
        } else if (first >= ' ' && first != deleteCharacter) {
            return character(first);
        } else {
            const bool isKey =
                !isPasting_ && first != 0 && first != startOutput && first != stopOutput;
            return isKey ? static_cast<wchar_t>(first) : refuse();
        }
    }
}

wchar_t Keys::character(unsigned char first) {
    const int length = lengthBy(first);
    if (length == 0) {
        return refuse();
    }
    wchar_t value = length == 1 ? first : first & (0x7F >> length);
    for (int i = 1; i < length; ++i) {
        const int next = byte(pause());
        if (next == none) {
            return isDropped_ || hasEnded_ ? L'\n' : refuse();
        }
        if ((next & 0xC0) != 0x80) {
            --at_;
            return refuse();
        }
        value = (value << 6) | (next & 0x3F);
    }
    const bool isControl = value >= 0x80 && value < 0xA0;
    return isScalar(value, length) && !isControl ? value : refuse();
}

// Nothing (0) for an Escape key alone and for the brackets of a paste.
wchar_t Keys::afterEscape() {
    const int next = byte(pause());
    if (next == none) {
        return isDropped_ || hasEnded_ ? L'\n' : isPasting_ ? refuse() : 0;
    }
    if (next == '[' || next == 'O') {
        return sequence();
    }
    if (!isPasting_ && (next == 'b' || next == 'f')) {
        return next == 'b' ? wordLeft : wordRight;
    }
    --at_;
    return refuse();
}

wchar_t Keys::sequence() {
    constexpr std::size_t longest = 16;
    std::string parameters;
    for (int next = 0; parameters.size() < longest && (next < '@' || next > '~');) {
        next = byte(pause());
        if (next < ' ' || next >= deleteCharacter) {
            at_ -= next == none ? 0 : 1;
            return isDropped_ || hasEnded_ ? L'\n' : refuse();
        }
        parameters += static_cast<char>(next);
    }
    if (parameters == (isPasting_ ? pasteEnds : pasteBegins)) {
        isPasting_ = !isPasting_;
        return 0;
    }
    for (const auto& [known, key] : sequences) {
        if (known == parameters && !isPasting_) {
            return key;
        }
    }
    const char last = parameters.back();
    const bool isKey = !isPasting_ && (last == '~' || (last >= 'A' && last <= 'Z'));
    return isKey ? static_cast<wchar_t>(refused) : refuse();  // one of no use only beeps
}

int Keys::pause() const {
    return isPasting_ ? restOfPaste : escapeAlone;
}

}  // namespace ksigil
