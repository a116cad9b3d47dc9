#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace ksigil {

// The kinds of a command's arguments.
enum class Kind {
    path,
    size,
    offset,
    length,
    privacy,
    factors,
    operation,  // only after E is there an argument behind it
    data,
    password,
    newPassword,
    command,
};

struct KindTraits {
    const char* name;  // as a question puts it
    bool isNumber;
    bool isSecret;                          // kept in no history
    std::vector<std::string_view> choices;  // empty: any word will do
};

const KindTraits& traitsOf(Kind kind);

// A word that the shell, or the terminal in front of it, takes for a command.
struct Word {
    std::string_view name;
    std::vector<Kind> arguments;
    bool reachesToken;
    const char* usage;
    const char* meaning;
};

// In the order of the help.
const std::vector<Word>& allWords();

// Null for a word that is none of these.
const Word* findWord(std::string_view name);

// The word that is most like the given one, null if none is like it. `changes` is how many letters
// may be put in, left out, replaced or swapped with the next one at most.
const Word* nearestWord(std::string_view name, std::size_t changes);

}  // namespace ksigil
