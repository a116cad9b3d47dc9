#include "shell/terminal/line.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "include/basic_types.h"

namespace ksigil {
namespace {

constexpr std::string_view blanks = " \t\n\v\f\r";

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

class Reader {
  public:
    explicit Reader(const std::string& line) : line_(line) {}

    std::size_t at() const { return at_; }

    // False at the line's end.
    bool skipBlanks() {
        at_ = std::min(line_.find_first_not_of(blanks, at_), line_.size());
        return at_ < line_.size();
    }

    std::string word() {
        const std::size_t begin = at_;
        at_ = std::min(line_.find_first_of(blanks, at_), line_.size());
        return line_.substr(begin, at_ - begin);
    }

    // Nothing where the stream would fail; the digits of a number above the range are taken.
    std::optional<std::string> number() {
        const std::size_t begin = at_;
        if (line_[at_] == '+' || line_[at_] == '-') {
            ++at_;
        }
        const std::size_t firstDigit = at_;
        u64 value = 0;
        for (; at_ < line_.size() && isDigit(line_[at_]); ++at_) {
            value = std::min<u64>(value * 10 + static_cast<u64>(line_[at_] - '0'), tooMuch);
        }
        if (at_ == firstDigit || value == tooMuch) {
            return std::nullopt;
        }
        return line_.substr(begin, at_ - begin);
    }

    bool isAtBlankOrEnd() const {
        return at_ == line_.size() || blanks.find(line_[at_]) != std::string_view::npos;
    }

  private:
    static constexpr u64 tooMuch = u64{std::numeric_limits<u32>::max()} + 1;

    const std::string& line_;
    std::size_t at_ = 0;
};

bool isOneOf(const std::string& word, std::string_view letters) {
    return word.size() == 1 && letters.find(word[0]) != std::string_view::npos;
}

// Reads one argument. False: the shell reads no more of the command.
bool readArgument(Reader& reader, Kind kind, Command& command) {
    const KindTraits& traits = traitsOf(kind);
    if (traits.isNumber) {
        const std::optional<std::string> number = reader.number();
        if (number) {
            command.arguments.push_back(*number);
        }
        command.isCutShort = !number && !reader.isAtBlankOrEnd();
        return number.has_value();
    }
    command.arguments.push_back(reader.word());
    return kind != Kind::operation || isOneOf(command.arguments.back(), "Ee");
}

bool isPath(const std::string& word) {
    return !word.empty() && word.size() % 4 == 0 &&
           word.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

bool carriesSecret(const Word& word) {
    return std::any_of(word.arguments.begin(), word.arguments.end(),
                       [](Kind kind) { return traitsOf(kind).isSecret; });
}

// Nothing is read behind `exit`, or `help`.
bool endsLine(const Command& command) {
    return command.word != nullptr && !command.word->reachesToken &&
           command.word->arguments.empty();
}

void readArguments(Reader& reader, Command& command) {
    bool isKept = true;
    for (const Kind kind : command.word->arguments) {
        if (!reader.skipBlanks()) {
            command.lacking = kind;
            return;
        }
        if (!readArgument(reader, kind, command)) {
            // The data may stand here, unless it is a decryption, which has none.
            const bool isDecryption =
                kind == Kind::operation && isOneOf(command.arguments.back(), "Dd");
            command.keptEnd = isDecryption || (isKept && !carriesSecret(*command.word))
                                  ? reader.at()
                                  : command.keptEnd;
            return;
        }
        // Where the path was forgotten, the secret stands in its place.
        const bool mayBeSecret =
            traitsOf(kind).isSecret || (kind == Kind::path && carriesSecret(*command.word) &&
                                        !isPath(command.arguments.back()));
        isKept = isKept && !mayBeSecret;
        command.keptEnd = isKept ? reader.at() : command.keptEnd;
    }
}

}  // namespace

std::vector<Command> commandsOf(const std::string& line) {
    std::vector<Command> commands;
    Reader reader(line);
    while (reader.skipBlanks()) {
        Command command;
        command.begin = reader.at();
        command.name = reader.word();
        command.word = findWord(command.name);
        command.keptEnd = reader.at();
        if (command.word != nullptr) {
            readArguments(reader, command);
        }
        command.end = reader.at();
        const bool isLast = endsLine(command);
        commands.push_back(std::move(command));
        if (isLast) {
            break;
        }
    }
    return commands;
}

std::string keptOf(const std::string& line) {
    std::size_t end = 0;
    for (const Command& command : commandsOf(line)) {
        if (command.word == nullptr) {
            end = nearestWord(command.name, 1) != nullptr ? command.keptEnd : end;
            break;
        }
        end = command.keptEnd;
        if (command.keptEnd != command.end) {
            break;
        }
    }
    const std::size_t begin = std::min(line.find_first_not_of(blanks), line.size());
    return end > begin ? line.substr(begin, end - begin) : std::string();
}

}  // namespace ksigil
