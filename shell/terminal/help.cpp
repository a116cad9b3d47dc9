#include "shell/terminal/help.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <string_view>

#include "shell/terminal/words.h"

namespace ksigil {

void printHelp() {
    std::size_t width = 0;
    for (const Word& word : allWords()) {
        width = std::max(width, std::string_view(word.usage).size());
    }
    for (const Word& word : allWords()) {
        const std::string usage = word.usage;
        if (!usage.empty()) {
            std::cout << usage << std::string(width - usage.size() + 2, ' ') << word.meaning
                      << '\n';
        }
    }
    std::cout << std::flush;
}

void tellUsage(const std::string& word) {
    std::cerr << "Given up. Usage: " << findWord(word)->usage << '\n';
}

void tellNearest(const std::string& word) {
    constexpr std::size_t farthest = 2;
    const Word* const nearest = nearestWord(word, farthest);
    if (nearest != nullptr) {
        std::cerr << "Did you mean \"" << nearest->name << "\"?\n";
    } else {
        std::cerr << "There is no such word; \"help\" lists them.\n";
    }
}

}  // namespace ksigil
