#include "shell/terminal/completion.h"

#include <algorithm>
#include <cctype>
#include <string_view>
#include <vector>

#include "Components/qv_aid/qv_filesystem.h"
#include "shell/terminal/line.h"

namespace ksigil {
namespace {

constexpr std::size_t digitsPerLevel = 4;

struct Candidate {
    std::string text;   // the whole word
    std::string shown;  // in a list
};

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::vector<Candidate> candidatesOf(const std::vector<std::string_view>& words) {
    std::vector<Candidate> candidates;
    candidates.reserve(words.size());
    for (const std::string_view word : words) {
        candidates.push_back({std::string(word), std::string(word)});
    }
    return candidates;
}

std::vector<Candidate> commandWords() {
    std::vector<std::string_view> names;
    for (const Word& word : allWords()) {
        names.push_back(word.name);
    }
    return candidatesOf(names);
}

// A type of the token that is none of the three is shown by its number.
std::string described(const QVFileInfo& info) {
    static const std::pair<u8, const char*> kinds[] = {{QVFileInfo::typeBinaryFile, "file"},
                                                       {QVFileInfo::typeDirectory, "directory"},
                                                       {QVFileInfo::typeKey, "key"}};
    std::string kind = "type " + std::to_string(info.type);
    for (const auto& [type, name] : kinds) {
        kind = type == info.type ? name : kind;
    }
    return info.name + " " + kind + (info.isDirectory() ? "" : " " + std::to_string(info.size));
}

// The children of what is typed so far: the levels that are complete.
std::vector<Candidate> paths(const std::string& typed, TokenLook& look, bool mayAsk) {
    if (typed.size() < digitsPerLevel) {
        return {{rootPath, rootPath}};
    }
    std::vector<Candidate> candidates;
    const std::string parent = typed.substr(0, typed.size() / digitsPerLevel * digitsPerLevel);
    if (const auto children = mayAsk ? look.children(parent) : std::nullopt) {
        for (const QVFileInfo& child : *children) {
            candidates.push_back({parent + child.name, described(child)});
        }
    }
    return candidates;
}

std::size_t commonLength(const std::string& one, const std::string& other) {
    const auto [end, unused] = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
    return static_cast<std::size_t>(end - one.begin());
}

Completion choose(std::vector<Candidate> candidates, const std::string& typed, bool isPath) {
    std::erase_if(candidates, [&](const Candidate& candidate) {
        const std::string begin = candidate.text.substr(0, typed.size());
        return isPath ? lowered(begin) != lowered(typed) : begin != typed;
    });
    Completion completion;
    if (!candidates.empty()) {
        std::string common = candidates.front().text;
        for (const Candidate& candidate : candidates) {
            common.resize(commonLength(common, candidate.text));
            completion.list.push_back(candidate.shown);
        }
        completion.insert = common.substr(std::min(typed.size(), common.size()));
        if (candidates.size() == 1 && !isPath) {
            completion.insert += ' ';
        }
    }
    return completion;
}

}  // namespace

Completion completionOf(const std::string& before, TokenLook& look, bool mayAsk) {
    const std::size_t blank = before.find_last_of(" \t");
    const std::size_t begin = blank == std::string::npos ? 0 : blank + 1;
    const std::string typed = before.substr(begin);
    const std::vector<Command> commands = commandsOf(before.substr(0, begin));
    const std::optional<Kind> kind = commands.empty() ? std::nullopt : commands.back().lacking;
    const bool isPath = kind == Kind::path;
    std::vector<Candidate> candidates;
    if (isPath) {
        candidates = paths(typed, look, mayAsk);
    } else if (!kind || kind == Kind::command) {
        candidates = commandWords();
    } else {
        candidates = candidatesOf(traitsOf(*kind).choices);
    }
    return choose(std::move(candidates), typed, isPath);
}

}  // namespace ksigil
