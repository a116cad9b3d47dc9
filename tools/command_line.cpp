#include "tools/command_line.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <functional>

#include "tools/failure.h"

namespace tools {
namespace {

constexpr std::size_t digitsOfEntry = 8;

// These tell what is wrong with an argument; empty: nothing is.

std::string pathProblem(const std::string& text) {
    return isPath(text) ? ""
                        : "\"" + text + "\" is no path: it has 4 hexadecimal digits for each level";
}

std::string numberProblem(const std::string& text) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isOne = error == std::errc() && end == text.data() + text.size();
    return isOne && number <= KSIGIL_MAX_FILE_SIZE ? ""
                                                   : "\"" + text + "\" is no number up to 65535";
}

std::string entryProblem(const std::string& text) {
    return isHex(text, digitsOfEntry) ? "" : "\"" + text + "\" has not 8 hexadecimal digits";
}

std::string contentProblem(const std::string& text) {
    const bool isOne = text.size() == KSIGIL_ENTRY_LENGTH || isHex(text, digitsOfEntry);
    return isOne ? "" : "\"" + text + "\" has neither 4 characters nor 8 hexadecimal digits";
}

std::string fileProblem(const std::string& text) {
    return text.empty() ? "an empty argument names no file" : "";
}

void takePath(CLI::App& sub, Options& options, bool isRequired, const char* help) {
    sub.add_option_function<std::string>(
           "PATH", [&](const std::string& text) { options.path = lowered(text); }, help)
        ->check(pathProblem)
        ->required(isRequired)
        ->type_name("");
}

void takeFile(CLI::App& sub, const char* name, std::string& file, const char* help) {
    sub.add_option(name, file, help)->check(fileProblem)->type_name(name[0] == '-' ? "FILE" : "");
}

void takeNumber(CLI::App& sub, const char* name, std::optional<std::uint32_t>& number,
                const char* help) {
    sub.add_option_function<std::string>(
           name,
           [&](const std::string& text) { number = static_cast<std::uint32_t>(std::stoul(text)); },
           help)
        ->check(numberProblem)
        ->type_name("N");
}

void takeEntry(CLI::App& sub, Options& options) {
    sub.add_option_function<std::string>(
           "ID",
           [&](const std::string& text) {
               options.entry = static_cast<std::uint32_t>(std::stoul(text, nullptr, 16));
           },
           "The application's id, 8 hexadecimal digits")
        ->check(entryProblem)
        ->required()
        ->type_name("");
}

void takeContent(CLI::App& sub, Options& options) {
    takeEntry(sub, options);
    sub.add_option_function<std::string>(
           "CONTENT",
           [&](const std::string& text) {
               for (std::size_t i = 0; i < options.content.size(); ++i) {
                   options.content[i] = static_cast<std::uint8_t>(
                       text.size() == KSIGIL_ENTRY_LENGTH
                           ? static_cast<unsigned char>(text[i])
                           : std::stoul(text.substr(2 * i, 2), nullptr, 16));
               }
           },
           "4 characters, or 8 hexadecimal digits")
        ->check(contentProblem)
        ->required()
        ->type_name("");
}

void takePrivate(CLI::App& sub, Options& options) {
    sub.add_flag("--private", options.isPrivate, "Only for who is logged in");
}

void takeNothing(CLI::App&, Options&) {}

void takeInfo(CLI::App& sub, Options& options) {
    takePath(sub, options, false, "An object; without it the token is shown");
}

void takeList(CLI::App& sub, Options& options) {
    takePath(sub, options, false, "The object, 3f00 where it is left out");
    sub.add_flag("-l", options.isLong, "Kinds and sizes too");
    sub.add_flag("-R", options.isRecursive, "The whole tree below it");
}

void takeGet(CLI::App& sub, Options& options) {
    takePath(sub, options, true, "The file on the token");
    takeFile(sub, "FILE", options.output, "Where its content goes, else standard output");
    takeNumber(sub, "--offset", options.offset, "From this byte on");
    takeNumber(sub, "--length", options.length, "So many bytes; else all");
}

void takePut(CLI::App& sub, Options& options) {
    takeFile(sub, "FILE", options.input, "The content, - for standard input");
    sub.get_option("FILE")->required();
    takePath(sub, options, true, "The file on the token");
    takePrivate(sub, options);
    CLI::Option* const force =
        sub.add_flag("--force", options.isForced, "Replace a file that exists");
    sub.add_flag("--in-place", options.isInPlace,
                 "Replace it without a copy meanwhile: a failure can lose both contents")
        ->needs(force);
    takeNumber(sub, "--offset", options.offset,
               "Write into the file that exists, from this byte on");
    sub.get_option("--offset")->excludes(force)->excludes(sub.get_option("--private"));
}

void takeMakeDirectory(CLI::App& sub, Options& options) {
    takePath(sub, options, true, "The directory");
    takePrivate(sub, options);
}

void takeMakeKey(CLI::App& sub, Options& options) {
    takePath(sub, options, true, "The key");
    sub.add_flag("--two-factor", options.isTwoFactor, "Only for who is logged in");
    takeFile(sub, "--value-from", options.input, "Its 16 bytes, - for standard input");
}

void takeRemove(CLI::App& sub, Options& options) {
    takePath(sub, options, true, "The object");
    sub.add_flag("-r", options.isRecursive, "With all that is under it");
    sub.add_flag("--force", options.isForced, "Also all of 3f00");
}

// Which argument is which depends on --protector, and so is known at the end only.
void placeWords(Options& options) {
    auto& [path, input, output] = options.words;
    if (options.withProtector) {
        if (!output.empty()) {
            throw CLI::ValidationError('"' + output + "\" is one argument too many");
        }
        output = input;
        input = path;
    } else if (path.empty()) {
        throw CLI::ValidationError("PATH or --protector is required");
    } else if (const std::string problem = pathProblem(path); problem.empty()) {
        options.path = lowered(path);
    } else {
        throw CLI::ValidationError("PATH", problem);
    }
    options.input = input.empty() ? "-" : input;
    options.output = output.empty() ? "-" : output;
}

void takeCipher(CLI::App& sub, Options& options) {
    auto& [path, input, output] = options.words;
    takeFile(sub, "PATH", path, "The key on the token");
    takeFile(sub, "IN", input, "What goes through it, else standard input");
    takeFile(sub, "OUT", output, "Where that goes, else standard output");
    sub.add_flag("--protector", options.withProtector, "The protector's key, without PATH");
    sub.callback([&] { placeWords(options); });
}

void takeExport(CLI::App& sub, Options& options) {
    takeFile(sub, "DEST", options.output,
             "A new folder, or a tar file if it ends in .tar, or - for one to standard output");
    sub.get_option("DEST")->required();
    takePath(sub, options, false, "The directory, 3f00 where it is left out");
}

void takeImport(CLI::App& sub, Options& options) {
    takeFile(sub, "SOURCE", options.input, "A folder or a tar file, - for one from standard input");
    sub.get_option("SOURCE")->required();
    takePath(sub, options, false, "The directory, 3f00 where it is left out");
    sub.add_flag("--force", options.isForced, "Merge with what is there");
}

struct Word {
    const char* name;
    Command command;
    void (*take)(CLI::App& sub, Options& options);
    const char* help;
};

constexpr Word entryWords[] = {
    {"list", listEntries, takeNothing, "List them"},
    {"get", getEntry, takeEntry, "Show one"},
    {"set", setEntry, takeContent, "Add one, or replace its content"},
    {"remove", removeEntry, takeEntry, "Take one out"},
};

template <std::size_t count>
const Word& wordOf(const Word (&table)[count], const std::string& name) {
    return *std::find_if(std::begin(table), std::end(table),
                         [&](const Word& word) { return word.name == name; });
}

template <std::size_t count>
void addWords(CLI::App& app, const Word (&table)[count], Options& options) {
    for (const Word& word : table) {
        word.take(*app.add_subcommand(word.name, word.help)->fallthrough(), options);
    }
}

void takeEntries(CLI::App& sub, Options& options) {
    sub.require_subcommand(0, 1);
    addWords(sub, entryWords, options);
}

constexpr Word words[] = {
    {"readers", listReaders, takeNothing, "List the readers, and whether a token is in them"},
    {"info", showInfo, takeInfo, "Show the token, or an object"},
    {"ls", list, takeList, "List a directory"},
    {"get", get, takeGet, "Read a file; to a terminal as hexadecimal digits and characters"},
    {"put", put, takePut, "Write a file"},
    {"mkdir", makeDirectory, takeMakeDirectory, "Make a directory"},
    {"mkkey", makeKey, takeMakeKey, "Make a DESX key"},
    {"rm", remove, takeRemove, "Remove an object"},
    {"login", logIn, takeNothing, "Log in, and stay so behind the program's end"},
    {"logout", logOut, takeNothing, "Log out, whoever logged in"},
    {"passwd", changePassword, takeNothing, "Change the password"},
    {"entries", listEntries, takeEntries, "List, get, set and remove application entries"},
    {"prepare", prepare, takeNothing, "Make what is missing of the protector"},
    {"encrypt", encrypt, takeCipher, "Encrypt under a key"},
    {"decrypt", decrypt, takeCipher, "Decrypt under a key"},
    {"export", exportTree, takeExport, "Take a tree to a folder or a tar file"},
    {"import", importTree, takeImport, "Bring a tree back, on this token or another"},
};

void addOptions(CLI::App& app, Options& options) {
    app.set_version_flag("--version", std::string("ksigil ") + ksigil_version());
    app.add_option("--reader", options.reader, "The reader, else \"VDW ifdh 0\"")
        ->type_name("NAME");
    takeFile(app, "--password-file", options.passwordFile,
             "The password is this file's first line, - for standard input; else it is asked for");
    takeFile(app, "--new-password-file", options.newPasswordFile, "The new one of passwd");
    app.add_flag("--json", options.json, "Tell it for programs");
}

void checkStreams(const Options& options) {
    const int uses = (options.input == "-" ? 1 : 0) + (options.passwordFile == "-" ? 1 : 0) +
                     (options.newPasswordFile == "-" ? 1 : 0);
    if (uses > 1) {
        throw Misuse("standard input is wanted for two things");
    }
}

Command chosen(const CLI::App& app) {
    const CLI::App& sub = *app.get_subcommands().front();
    if (sub.get_name() != "entries") {
        return wordOf(words, sub.get_name()).command;
    }
    const auto further = sub.get_subcommands();
    return further.empty() ? listEntries : wordOf(entryWords, further.front()->get_name()).command;
}

// What the command takes: "ksigil rm PATH [-r] [--force]".
std::string usageOf(const CLI::App& sub) {
    std::string usage = sub.get_name();
    for (const CLI::App* app = sub.get_parent(); app != nullptr; app = app->get_parent()) {
        usage.insert(0, app->get_name() + ' ');
    }
    for (const CLI::Option* const option : sub.get_options()) {
        std::string word = option->get_name();
        if (const std::string type = option->get_type_name(); !type.empty()) {
            word += ' ' + type;
        }
        if (option != sub.get_help_ptr() && option != sub.get_version_ptr()) {
            usage += option->get_required() ? ' ' + word : " [" + word + ']';
        }
    }
    return sub.get_require_subcommand_min() > 0 ? usage + " COMMAND" : usage;
}

std::string namesOf(const CLI::App& app) {
    std::string names;
    for (const CLI::App* const sub : app.get_subcommands({})) {
        names += (names.empty() ? "" : ", ") + sub->get_name();
    }
    return names;
}

// The command that was reached, of entries the further one.
const CLI::App& reached(const CLI::App& app) {
    const auto subs = app.get_subcommands();
    return subs.empty() ? app : reached(*subs.front());
}

// What was wrong, with the word in question, and what was expected in its place. A word that is
// left over tells more than what is missing for it.
std::string problemOf(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App& sub = reached(app);
    const std::vector<std::string> left = app.remaining(true);
    const bool isLeftOver =
        !left.empty() && (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr ||
                          dynamic_cast<const CLI::RequiredError*>(&error) != nullptr);
    const std::string word = isLeftOver ? '"' + left.front() + '"' : "";
    const bool isOption = isLeftOver && left.front().starts_with('-');
    if (!isOption && (&sub == &app || sub.get_name() == "entries")) {
        return (isLeftOver ? word + " is no command" : "a command is missing") +
               "; the commands are " + namesOf(sub);
    }
    if (isLeftOver) {
        return word + (isOption ? " is no option" : " is one argument too many") +
               "; usage: " + usageOf(sub);
    }
    return error.what() + ("; usage: " + usageOf(sub));
}

}  // namespace

CommandLine parse(int argc, const char* const* argv) {
    CommandLine line;
    CLI::App app("Works on a security token of the kSigil family.", "ksigil");
    addOptions(app, line.options);
    addWords(app, words, line.options);
    app.require_subcommand(1);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        line.text = app.help();
        return line;
    } catch (const CLI::CallForVersion& version) {
        line.text = version.what() + std::string("\n");
        return line;
    } catch (const CLI::ParseError& error) {
        throw Misuse(printable(problemOf(app, error)));
    }
    checkStreams(line.options);
    line.command = chosen(app);
    return line;
}

}  // namespace tools
