#include "tools/progress.h"

#include <algorithm>

#include "platform/program/files.h"

namespace tools {
namespace {

constexpr std::chrono::milliseconds patience{500};
constexpr std::chrono::milliseconds interval{100};
constexpr std::size_t width = 40;
constexpr std::size_t lineLength = width + 8;

// Nobody is told where it cannot be written.
void draw(std::string text) {
    text.resize(lineLength, ' ');
    text = '\r' + text + '\r';
    platform::writeSome(platform::standardError, text.data(), text.size());
}

std::string barOf(std::uint64_t done, std::uint64_t total) {
    const auto filled = static_cast<std::size_t>(width * done / total);
    return "[" + std::string(filled, '#') + std::string(width - filled, ' ') + "] " +
           std::to_string(100 * done / total) + " %";
}

}  // namespace

Progress::Progress() : onTerminal_(platform::isTerminal(platform::standardError)) {
    restart();
}

void Progress::restart() {
    next_ = Clock::now() + patience;
}

void Progress::show(std::uint64_t done, std::uint64_t total) {
    if (!onTerminal_ || Clock::now() < next_) {
        return;
    }
    next_ = Clock::now() + interval;
    isShown_ = true;
    if (total_ != 0) {
        draw(barOf(std::min(before_ + (total == 0 ? 0 : done), total_), total_));
    } else {
        draw(total != 0 ? barOf(done, total) : std::to_string(done) + " frames");
    }
}

void Progress::clear() {
    if (isShown_) {
        draw("");
        isShown_ = false;
    }
}

}  // namespace tools
