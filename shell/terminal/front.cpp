#include "shell/terminal/front.h"

#include <algorithm>
#include <iostream>
#include <utility>

#include "Components/qv_aid/qv_filesystem.h"
#include "platform/reader_target.h"
#include "shell/terminal/completion.h"
#include "shell/terminal/help.h"
#include "shell/terminal/password.h"

namespace ksigil {
namespace {

constexpr const char* prompt = ">";

bool isRoot(const std::string& path) {
    return path == rootPath || path == "3F00";
}

bool isNumber(const std::string& text) {
    return text.find_first_not_of("0123456789") == std::string::npos;
}

// Of an answer's first word.
bool fits(const std::string& answer, Kind kind) {
    const KindTraits& traits = traitsOf(kind);
    const std::string word = answer.substr(0, answer.find(' '));
    if (kind == Kind::operation) {
        return word == "E" || word == "e" || word == "D" || word == "d";
    }
    const auto& choices = traits.choices;
    return (!traits.isNumber || isNumber(word)) &&
           (choices.empty() || std::find(choices.begin(), choices.end(), word) != choices.end());
}

std::string trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    return begin == std::string::npos
               ? ""
               : text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
}

bool isWord(const Command& command, std::initializer_list<std::string_view> names) {
    return std::find(names.begin(), names.end(), command.name) != names.end();
}

}  // namespace

Front::Front() : editor_(keys_) {
    for (const std::string& line : history_.load()) {
        editor_.remember(line);
    }
}

Front::~Front() {
    wipe(handed_);
    wipe(line_);
}

Front::int_type Front::underflow() {
    tellAboutLast();
    wipe(handed_);
    setg(nullptr, nullptr, nullptr);
    if (!fetch()) {
        return traits_type::eof();
    }
    setg(handed_.data(), handed_.data(), handed_.data() + handed_.size());
    return traits_type::to_int_type(handed_.front());
}

// Puts the next commands into `handed_`; false at the input's end.
bool Front::fetch() {
    while (handed_.empty()) {
        if (!pieces_.empty()) {
            const Piece piece = std::move(pieces_.front());
            pieces_.pop_front();
            if (admit(piece)) {
                handOver(piece);
            }
        } else if (!readLine()) {
            return false;
        }
    }
    return true;
}

bool Front::readLine() {
    const Editor::Line line = editor_.read(prompt, [this](const std::string& before) {
        return completionOf(before, look_, hasConnected_);
    });
    if (line.ending == Editor::Ending::line && !line.isWhole) {
        std::cerr << "Not taken: the line holds a control character, or bytes that are no UTF-8.\n";
    } else if (line.ending == Editor::Ending::line) {
        takeLine(line.text);
    }
    return line.ending != Editor::Ending::inputEnded;
}

void Front::takeLine(const std::string& typed) {
    std::string line = typed;
    const bool isComplete = askForMissing(line);
    keep(isComplete ? line : typed);
    if (isComplete) {
        setPieces(std::move(line));
    }
}

void Front::keep(const std::string& line) {
    const std::string kept = keptOf(line);
    if (!kept.empty() && editor_.remember(kept)) {
        history_.append(kept);
    }
}

// Only the last command of a line can lack something. False if it was given up.
bool Front::askForMissing(std::string& line) {
    for (;;) {
        const std::vector<Command> commands = commandsOf(line);
        if (commands.empty() || !commands.back().lacking) {
            return true;
        }
        const Command& last = commands.back();
        if (last.name == "h" && (commands.size() == 1 || !commands.end()[-2].isCutShort)) {
            return true;
        }
        std::string answer;
        if (!ask(line + " ", *last.lacking, answer)) {
            tellUsage(last.name);
            return false;
        }
        line += ' ';
        line += answer;
        wipe(answer);
    }
}

bool Front::ask(const std::string& context, Kind kind, std::string& answer) {
    const std::string name = traitsOf(kind).name;
    if (kind == Kind::password || kind == Kind::newPassword) {
        std::optional<std::string> password =
            kind == Kind::password ? askPassword(keys_, name) : askNewPassword(keys_, name);
        answer = password.value_or("");
        return password.has_value();
    }
    do {
        const Editor::Line line = editor_.read(name + "? ", [&](const std::string& before) {
            return completionOf(context + before, look_, hasConnected_);
        });
        const bool isGiven = line.ending == Editor::Ending::line && line.isWhole;
        answer = isGiven ? trimmed(line.text) : "";
    } while (!answer.empty() && !fits(answer, kind));
    return !answer.empty();
}

void Front::setPieces(std::string line) {
    bool isJoined = false;
    for (Command& command : commandsOf(line)) {
        if (!isJoined) {
            pieces_.emplace_back();
        }
        isJoined = command.isCutShort;
        pieces_.back().push_back(std::move(command));
    }
    wipe(line_);
    line_ = std::move(line);
}

// Does what the front itself does for a command. False if the shell is not to get it.
bool Front::admit(const Piece& piece) {
    const Command& first = piece.front();
    if (isWord(first, {"help", "?"}) || (first.name == "h" && first.lacking)) {
        std::cout << '\r';
        printHelp();
        return false;
    }
    return std::all_of(piece.begin(), piece.end(), [this](const Command& command) {
        return command.name != "rm" || confirmRemoval(command);
    });
}

bool Front::confirmRemoval(const Command& command) {
    const std::string& path = command.arguments.front();
    const std::optional<Subtree> subtree = subtreeOf(path);
    if (!subtree || (subtree->objects == 0 && !isRoot(path))) {
        return true;
    }
    const std::string number = (subtree->isCounted ? "" : "At least ") +
                               std::to_string(subtree->objects) +
                               (subtree->objects == 1 ? " object" : " objects");
    const std::string question = isRoot(path)
                                     ? number + ", all that the token holds. Remove? (y/n) "
                                     : path + " with " + number + " under it. Remove? (y/n) ";
    const Editor::Line answer = editor_.read(question, nullptr);
    const bool isYes =
        answer.ending == Editor::Ending::line && answer.isWhole && trimmed(answer.text) == "y";
    if (!isYes) {
        std::cerr << "Nothing was removed.\n";
    }
    if (answer.ending == Editor::Ending::dropped) {
        pieces_.clear();
    }
    return isYes;
}

void Front::handOver(const Piece& piece) {
    const std::size_t begin = piece.front().begin;
    handed_ = piece.front().name == "quit" ? "exit" : line_.substr(begin, piece.back().end - begin);
    handed_ += '\n';
    last_ = piece;
    look_.forget();
    if (piece.size() == 1 && piece.front().name == "login" && platform::isReaderEmbedded()) {
        answer_.emplace();
    }
}

// The shell has answered, and stands at its prompt, over which this writes.
void Front::tellAboutLast() {
    const bool isRefused = answer_ && answer_->beginning().starts_with("FAIL: ") &&
                           answer_->beginning().find("0xe0066982") != std::string::npos;
    answer_.reset();
    const Piece piece = std::exchange(last_, {});
    const auto isUnknown = [](const Command& command) { return command.word == nullptr; };
    for (const Command& command : piece) {
        hasConnected_ = hasConnected_ || (command.word != nullptr && command.word->reachesToken);
    }
    if (!isRefused && std::none_of(piece.begin(), piece.end(), isUnknown)) {
        return;
    }
    std::cout << '\r' << std::flush;
    for (const Command& command : piece) {
        if (isUnknown(command)) {
            tellNearest(command.name);
        }
    }
    if (isRefused) {
        std::cerr << "Ten refused logins in a row block the password. \"ksigil-token show\" tells "
                     "how many there were, \"ksigil-token unblock\" lifts the block.\n";
    }
    std::cout << prompt << std::flush;
}

}  // namespace ksigil
