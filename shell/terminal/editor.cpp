#include "shell/terminal/editor.h"

#include <histedit.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string_view>
#include <utility>

#include "shell/terminal/utf8.h"

namespace ksigil {
namespace {

// libedit cannot end a colour behind a prompt's last character. So a stand-in, a character that the
// editor refuses to hold, is drawn for `>`, and takes its colour on the way to the terminal.
constexpr wchar_t standIn = 0x10FFFD;
constexpr std::string_view standInBytes = "\xF4\x8F\xBF\xBD";
constexpr std::string_view plainPrompt = ">";
constexpr std::string_view colouredPrompt = "\033[1;32m>\033[0m";

// The editor's own search of the history copies no more of a line than this.
constexpr std::size_t longestSearched = 1000;

constexpr int mostEntries = 1000;

bool isColoured() {
    const char* const off = std::getenv("NO_COLOR");
    return off == nullptr || *off == '\0';
}

void writeAll(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (count <= 0) {
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

ssize_t writeToTerminal(void* cookie, const char* bytes, std::size_t size) {
    const std::string_view prompt = *static_cast<bool*>(cookie) ? colouredPrompt : plainPrompt;
    std::string drawn(bytes, size);
    for (std::size_t at = 0; (at = drawn.find(standInBytes, at)) != std::string::npos;) {
        drawn.replace(at, standInBytes.size(), prompt);
        at += prompt.size();
    }
    writeAll(drawn);
    return static_cast<ssize_t>(size);
}

unsigned screenWidth() {
    winsize size{};
    const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : 80;
}

}  // namespace

struct Editor::Inside {
    explicit Inside(Keys& from);
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;
    ~Inside();

    void bindKeys();
    void replaceLine(const std::wstring& text);
    void show(const std::vector<std::string>& list);
    std::wstring text() const;
    bool remember(const std::wstring& added);

    static Inside& of(EditLine* line);
    static wchar_t* prompt(EditLine* line);
    static int character(EditLine* line, wchar_t* character);
    static unsigned char older(EditLine* line, wint_t);
    static unsigned char newer(EditLine* line, wint_t);
    static unsigned char search(EditLine* line, wint_t);
    static unsigned char tab(EditLine* line, wint_t);
    static unsigned char removeOrEnd(EditLine* line, wint_t);
    static unsigned char redraw(EditLine* line, wint_t);
    static unsigned char refuse(EditLine* line, wint_t);

    Keys& keys;
    bool isPromptColoured = isColoured();
    FILE* screen = nullptr;
    EditLine* line = nullptr;
    HistoryW* history = nullptr;
    std::wstring promptText;
    const Complete* complete = nullptr;
    bool hasEnded = false;
    std::vector<std::wstring> entries;
    std::size_t entry = 0;  // the one shown; as many as there are: the operator's own line
    std::wstring ownLine;
};

Editor::Inside::Inside(Keys& from) : keys(from) {
    screen = fopencookie(&isPromptColoured, "w", {nullptr, writeToTerminal, nullptr, nullptr});
    line = el_init_fd("QVSh", stdin, screen, stderr, STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO);
    el_wset(line, EL_CLIENTDATA, this);
    el_wset(line, EL_GETCFN, &Inside::character);
    el_wset(line, EL_PROMPT, &Inside::prompt);
    el_wset(line, EL_EDITOR, L"emacs");
    // While a command runs, what is typed waits for the next line without being shown or cut.
    el_wset(line, EL_SETTY, L"-x", L"-icanon", L"-echo", nullptr);
    history = history_winit();
    HistEventW event;
    history_w(history, &event, H_SETSIZE, mostEntries);
    el_wset(line, EL_HIST, history_w, history);
    bindKeys();
}

Editor::Inside::~Inside() {
    el_end(line);
    history_wend(history);
    std::fclose(screen);
}

void Editor::Inside::bindKeys() {
    const std::pair<const wchar_t*, unsigned char (*)(EditLine*, wint_t)> own[] = {
        {L"qv-older", older},
        {L"qv-newer", newer},
        {L"qv-search", search},
        {L"qv-tab", tab},
        {L"qv-remove-or-end", removeOrEnd},
        {L"qv-redraw", redraw},
        {L"qv-refuse", refuse}};
    for (const auto& [name, function] : own) {
        el_wset(line, EL_ADDFN, name, name, function);
    }
    // Whatever could be a character and is bound to nothing else.
    for (unsigned value = 1; value < 0x100; ++value) {
        const bool isControl = value < ' ' || (value >= 0x7F && value < 0xA0);
        if (isControl || value >= 0xA0) {
            const wchar_t key[] = {L'\\', static_cast<wchar_t>(L'0' + (value >> 6)),
                                   static_cast<wchar_t>(L'0' + ((value >> 3) & 7)),
                                   static_cast<wchar_t>(L'0' + (value & 7)), 0};
            el_wset(line, EL_BIND, key, isControl ? L"qv-refuse" : L"ed-insert", nullptr);
        }
    }
    const std::pair<const wchar_t*, const wchar_t*> keysOf[] = {{L"\\001", L"ed-move-to-beg"},
                                                                {L"\\002", L"ed-prev-char"},
                                                                {L"\\004", L"qv-remove-or-end"},
                                                                {L"\\005", L"ed-move-to-end"},
                                                                {L"\\006", L"ed-next-char"},
                                                                {L"\\010", L"em-delete-prev-char"},
                                                                {L"\\011", L"qv-tab"},
                                                                {L"\\012", L"ed-newline"},
                                                                {L"\\013", L"ed-kill-line"},
                                                                {L"\\014", L"ed-clear-screen"},
                                                                {L"\\016", L"qv-newer"},
                                                                {L"\\020", L"qv-older"},
                                                                {L"\\022", L"qv-search"},
                                                                {L"\\025", L"em-kill-line"},
                                                                {L"\\027", L"ed-delete-prev-word"},
                                                                {L"\\031", L"em-yank"},
                                                                {L"\\177", L"em-delete-prev-char"},
                                                                {L"\\200", L"qv-older"},
                                                                {L"\\201", L"qv-newer"},
                                                                {L"\\202", L"ed-prev-char"},
                                                                {L"\\203", L"ed-next-char"},
                                                                {L"\\204", L"ed-move-to-beg"},
                                                                {L"\\205", L"ed-move-to-end"},
                                                                {L"\\206", L"ed-delete-next-char"},
                                                                {L"\\207", L"ed-prev-word"},
                                                                {L"\\210", L"em-next-word"},
                                                                {L"\\211", L"qv-refuse"},
                                                                {L"\\212", L"qv-redraw"},
                                                                {L"\\213", L"em-inc-search-prev"}};
    for (const auto& [key, function] : keysOf) {
        el_wset(line, EL_BIND, key, function, nullptr);
    }
}

Editor::Inside& Editor::Inside::of(EditLine* line) {
    void* self = nullptr;
    el_wget(line, EL_CLIENTDATA, &self);
    return *static_cast<Inside*>(self);
}

wchar_t* Editor::Inside::prompt(EditLine* line) {
    return of(line).promptText.data();
}

int Editor::Inside::character(EditLine* line, wchar_t* character) {
    Inside& self = of(line);
    *character = self.keys.next();
    // The search goes on to an older line only by the key that is bound to it.
    if (*character == L'\022' && self.text().size() <= longestSearched) {
        *character = L'\213';
    }
    if (*character == standIn) {
        *character = self.keys.refuse();
    }
    return 1;
}

std::wstring Editor::Inside::text() const {
    const LineInfoW* const info = el_wline(line);
    return {info->buffer, info->lastchar};
}

void Editor::Inside::replaceLine(const std::wstring& text) {
    const LineInfoW* const info = el_wline(line);
    el_cursor(line, static_cast<int>(info->lastchar - info->cursor));
    el_wdeletestr(line, static_cast<int>(info->lastchar - info->buffer));
    el_winsertstr(line, text.c_str());
}

bool Editor::Inside::remember(const std::wstring& added) {
    if (!entries.empty() && entries.back() == added) {
        return false;
    }
    if (entries.size() == mostEntries) {
        entries.erase(entries.begin());
    }
    entries.push_back(added);
    HistEventW event;
    history_w(history, &event, H_ENTER, added.c_str());
    return true;
}

unsigned char Editor::Inside::older(EditLine* line, wint_t) {
    Inside& self = of(line);
    if (self.entry == 0) {
        return CC_ERROR;
    }
    if (self.entry == self.entries.size()) {
        self.ownLine = self.text();
    }
    self.replaceLine(self.entries[--self.entry]);
    return CC_REFRESH;
}

unsigned char Editor::Inside::newer(EditLine* line, wint_t) {
    Inside& self = of(line);
    if (self.entry == self.entries.size()) {
        return CC_ERROR;
    }
    ++self.entry;
    self.replaceLine(self.entry == self.entries.size() ? self.ownLine : self.entries[self.entry]);
    return CC_REFRESH;
}

unsigned char Editor::Inside::search(EditLine*, wint_t) {
    return CC_ERROR;  // of a line that is too long for it
}

unsigned char Editor::Inside::removeOrEnd(EditLine* line, wint_t) {
    const LineInfoW* const info = el_wline(line);
    if (info->lastchar == info->buffer) {
        of(line).hasEnded = true;
        return CC_EOF;
    }
    if (info->cursor == info->lastchar) {
        return CC_ERROR;
    }
    el_cursor(line, 1);
    el_wdeletestr(line, 1);
    return CC_REFRESH;
}

unsigned char Editor::Inside::refuse(EditLine* line, wint_t) {
    of(line).keys.refuse();
    return CC_ERROR;
}

// The terminal wraps a line anew for its new width; it is drawn over from its first row.
unsigned char Editor::Inside::redraw(EditLine* line, wint_t) {
    Inside& self = of(line);
    el_resize(line);
    const LineInfoW* const info = el_wline(line);
    int column = 0;
    for (const wchar_t* at = info->buffer; at != info->cursor; ++at) {
        column += std::max(wcwidth(*at), 1);
    }
    const unsigned rows =
        (static_cast<unsigned>(column) + static_cast<unsigned>(self.promptText.size())) /
        screenWidth();
    const std::string up = rows > 0 ? "\033[" + std::to_string(rows) + "A" : "";
    std::fputs(("\r" + up + "\033[J").c_str(), self.screen);
    el_wset(line, EL_REFRESH);
    return CC_NORM;
}

unsigned char Editor::Inside::tab(EditLine* line, wint_t) {
    Inside& self = of(line);
    if (self.complete == nullptr || !*self.complete) {
        return CC_ERROR;
    }
    const LineInfoW* const info = el_wline(line);
    const Completion completion = (*self.complete)(utf8Of({info->buffer, info->cursor}));
    if (!completion.insert.empty()) {
        el_winsertstr(line,
                      std::wstring(completion.insert.begin(), completion.insert.end()).c_str());
        return CC_REFRESH;
    }
    if (completion.list.empty()) {
        return CC_ERROR;
    }
    self.show(completion.list);
    return CC_REDISPLAY;
}

// In as many columns as there is room for, under the line.
void Editor::Inside::show(const std::vector<std::string>& list) {
    std::size_t width = 0;
    for (const std::string& item : list) {
        width = std::max(width, item.size() + 2);
    }
    const std::size_t columns = std::max<std::size_t>(1, screenWidth() / width);
    std::string rows;
    for (std::size_t i = 0; i < list.size(); ++i) {
        const bool isLast = (i + 1) % columns == 0 || i + 1 == list.size();
        rows += list[i] + (isLast ? "\n" : std::string(width - list[i].size(), ' '));
    }
    std::fputs(("\n" + rows).c_str(), screen);
}

Editor::Editor(Keys& keys) : inside_(std::make_unique<Inside>(keys)) {}

Editor::~Editor() = default;

Editor::Line Editor::read(const std::string& prompt, const Complete& complete) {
    Inside& self = *inside_;
    self.promptText = std::wstring(prompt.begin(), prompt.end());
    if (prompt == plainPrompt) {
        self.promptText = standIn;
    }
    self.complete = &complete;
    self.hasEnded = false;
    self.entry = self.entries.size();
    self.keys.startLine();
    const Tty::Held held;
    writeAll("\r");
    int length = 0;
    const wchar_t* const text = el_wgets(self.line, &length);
    std::fflush(self.screen);
    Line line;
    line.isWhole = self.keys.isWhole();
    if (self.keys.isDropped()) {
        line.ending = Ending::dropped;
    } else if (self.hasEnded || self.keys.hasEnded() || text == nullptr || length <= 0) {
        line.ending = Ending::inputEnded;
    } else {
        line.text = utf8Of({text, static_cast<std::size_t>(length) - 1});
    }
    return line;
}

bool Editor::remember(const std::string& entry) {
    std::wstring characters;
    return charactersOf(entry, characters) && inside_->remember(characters);
}

}  // namespace ksigil
