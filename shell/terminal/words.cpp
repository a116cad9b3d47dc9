#include "shell/terminal/words.h"

#include <algorithm>

namespace ksigil {

const KindTraits& traitsOf(Kind kind) {
    static const KindTraits traits[] = {
        {"PATH", false, false, {}},
        {"SIZE", true, false, {}},
        {"OFFSET", true, false, {}},
        {"LENGTH", true, false, {}},
        {"PUB or PRV", false, false, {"PUB", "PRV"}},
        {"1F or 2F", false, false, {"1F", "2F"}},
        {"E or D", false, false, {"E", "D"}},
        {"DATA", false, true, {}},
        {"Password", false, true, {}},
        {"New password", false, true, {}},
        {"WORD", false, false, {}},
    };
    return traits[static_cast<std::size_t>(kind)];
}

const std::vector<Word>& allWords() {
    using enum Kind;
    static const std::vector<Word> words = {
        {"login", {password}, true, "login [PASSWORD]", "log in; asks for the password"},
        {"logout", {}, true, "logout", "log out"},
        {"changepw",
         {newPassword},
         true,
         "changepw [PASSWORD]",
         "change the password; asks for it"},
        {"ls", {path}, true, "ls PATH", "names in a directory"},
        {"lfs", {path}, true, "lfs PATH", "files and keys in it, with sizes"},
        {"ld", {path}, true, "ld PATH", "directories in it"},
        {"i", {path}, true, "i PATH", "about one object"},
        {"md", {path, privacy}, true, "md PATH PUB|PRV", "make a directory"},
        {"mf", {path, size, privacy}, true, "mf PATH SIZE PUB|PRV", "make a file"},
        {"mk", {path, factors}, true, "mk PATH 1F|2F", "make a key"},
        {"r", {path, offset, length}, true, "r PATH OFFSET LENGTH", "read from a file"},
        {"w", {path, offset, data}, true, "w PATH OFFSET DATA", "write the characters to a file"},
        {"wk", {path, data}, true, "wk PATH DATA", "give a key its 16 characters"},
        {"rm", {path}, true, "rm PATH", "remove it with all that is under it"},
        {"pr", {operation, data}, true, "pr E DATA | pr D", "encrypt by the protector; decrypt"},
        {"dx", {path, operation, data}, true, "dx PATH E DATA | dx PATH D", "the same by a key"},
        {"t", {}, true, "t", "make and write 3f00d8000001 anew"},
        {"h", {command}, false, "h [WORD]", "help on a word; alone, this list"},
        {"help", {}, false, "help, ?", "this list"},
        {"?", {}, false, "", ""},
        {"exit", {}, false, "exit, quit", "end"},
        {"quit", {}, false, "", ""},
    };
    return words;
}

const Word* findWord(std::string_view name) {
    const auto& words = allWords();
    const auto found = std::find_if(words.begin(), words.end(),
                                    [name](const Word& word) { return word.name == name; });
    return found == words.end() ? nullptr : &*found;
}

namespace {

// How many letters to change to make one word of the other.
std::size_t changesBetween(std::string_view one, std::string_view other) {
    std::vector<std::vector<std::size_t>> steps(one.size() + 1,
                                                std::vector<std::size_t>(other.size() + 1));
    for (std::size_t i = 0; i <= one.size(); ++i) {
        for (std::size_t j = 0; j <= other.size(); ++j) {
            if (i == 0 || j == 0) {
                steps[i][j] = i + j;
                continue;
            }
            const std::size_t replaced = one[i - 1] == other[j - 1] ? 0 : 1;
            steps[i][j] = std::min(
                {steps[i - 1][j] + 1, steps[i][j - 1] + 1, steps[i - 1][j - 1] + replaced});
            if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1]) {
                steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
            }
        }
    }
    return steps[one.size()][other.size()];
}

}  // namespace

const Word* nearestWord(std::string_view name, std::size_t changes) {
    constexpr std::size_t longest = 16;  // no word is half as long
    const Word* nearest = nullptr;
    if (name.size() <= longest) {
        std::size_t least = std::min(changes, name.size() - 1) + 1;
        for (const Word& word : allWords()) {
            const std::size_t needed = changesBetween(name, word.name);
            if (needed < least) {
                least = needed;
                nearest = &word;
            }
        }
    }
    return nearest;
}

}  // namespace ksigil
