#include "shell/terminal/terminal.h"

#include <langinfo.h>

#include <chrono>
#include <clocale>
#include <iostream>
#include <string>
#include <string_view>

#include "platform/waiting_notice.h"
#include "shell/terminal/front.h"
#include "shell/terminal/tty.h"

namespace ksigil {
namespace {

constexpr std::chrono::seconds patience{1};

// The editor's characters are those of UTF-8, whatever the environment says.
void useUtf8() {
    std::setlocale(LC_CTYPE, "");
    if (std::string_view(nl_langinfo(CODESET)) != "UTF-8") {
        std::setlocale(LC_CTYPE, "C.UTF-8");
    }
}

void tellWait(std::int32_t holder) {
    const std::string who = holder > 0 ? "process " + std::to_string(holder) : "another user of it";
    std::cerr << "\rWaiting for the token, which is held by " + who + ".\n";
}

void tellEnd(bool succeeded) {
    std::cerr << (succeeded ? "\rThe token is free now.\n" : "");
}

}  // namespace

struct Terminal::Inside {
    Inside() : shellsOwn(std::cin.rdbuf()) {
        useUtf8();
        std::cin.rdbuf(&front.emplace());
        platform::setWaitingNotice(&notice);
    }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;
    ~Inside() {
        platform::setWaitingNotice(nullptr);
        std::cin.rdbuf(shellsOwn);
    }

    Tty tty;
    std::streambuf* shellsOwn;
    std::optional<Front> front;
    platform::WaitingNotice notice{patience, tellWait, tellEnd};
};

Terminal::Terminal() {
    if (Tty::isThere()) {
        inside_ = std::make_unique<Inside>();
    }
}

Terminal::~Terminal() = default;

}  // namespace ksigil
