// ksigil-token: looks after the image of a software token.

#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <exception>
#include <iostream>
#include <optional>
#include <string>

#include "token/base/fault.h"
#include "token/base/printable.h"
#include "token/base/waiting.h"
#include "token/care/backup.h"
#include "token/care/check.h"
#include "token/care/create.h"
#include "token/care/overview.h"
#include "token/care/owner.h"
#include "token/care/restore.h"
#include "token/door/slot.h"
#include "token/image/image_place.h"
#include "token/reader/serve.h"
#include "token/tool/overview_text.h"
#include "token/tool/password_line.h"

using token::printable;

namespace {

constexpr int good = 0;
constexpr int damaged = 1;
constexpr int failed = 2;

struct Options {
    std::string image;  // empty: where the environment says
    std::string file;
    std::string vpcd = "127.0.0.1:35963";
    bool json = false;
    bool login = false;
};

token::ImagePlace placeOf(const Options& options) {
    return options.image.empty() ? token::imagePlace() : token::ImagePlace{options.image, false};
}

std::string pathOf(const Options& options) {
    return token::realImagePath(placeOf(options), token::Missing::refuse);
}

std::string pathToMake(const Options& options) {
    return token::realImagePath(placeOf(options), token::Missing::make);
}

void prepareProcess() {
    std::signal(SIGXFSZ, SIG_IGN);  // a size limit is an error like a full disk, and told
    constexpr rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);  // a password could be in the core
    token::setWaitNotice([](std::int32_t process, const std::string& does) {
        std::cerr << "ksigil-token: " << token::wordsOfWait(process, does) << std::endl;
    });
}

int create(const Options& options) {
    const std::string path = pathToMake(options);
    token::createToken(path);
    std::cout << "Made the image " << printable(path) << ". Its password is 1234: change it.\n";
    return good;
}

int show(const Options& options) {
    const std::string path = pathOf(options);
    const token::Overview overview = token::overviewOf(path);
    std::cout << (options.json ? jsonOf(path, overview) : textOf(path, overview));
    return good;
}

// The image's key, if there is a way to it; else `why` not.
std::optional<token::WipedKey> keyFor(const Options& options, const std::string& path,
                                      std::string& why) {
    try {
        if (options.login) {
            const PasswordLine password;
            return token::keyByPassword(path, password.bytes());
        }
        why = "the token is not logged in, and no password was given (--login)";
        return token::keyOfPowered(path);
    } catch (const token::Fault& fault) {
        why = fault.what();
        return std::nullopt;
    }
}

int check(const Options& options) {
    const std::string path = pathOf(options);
    std::string why;
    const std::optional<token::WipedKey> key = keyFor(options, path, why);
    const token::Findings findings = token::check(path, key ? &*key : nullptr);
    for (const std::string& problem : findings.problems) {
        std::cout << printable(problem) << '\n';
    }
    if (findings.leftSealed) {
        std::cout << "Sealed content was not opened: " << printable(why) << ".\n";
    }
    if (!findings.problems.empty()) {
        std::cout << "The image is damaged; problems: " << findings.problems.size() << ".\n";
        return damaged;
    }
    if (options.login && !key) {
        throw token::Fault(why);
    }
    std::cout << "The image is sound.\n";
    return good;
}

int eject(const Options& options) {
    token::Slot(placeOf(options)).remove();
    std::cout << "The token is out of its reader.\n";
    return good;
}

int insert(const Options& options) {
    token::Slot(placeOf(options)).insert();
    std::cout << "The token is in its reader.\n";
    return good;
}

int reset(const Options& options) {
    const bool wasPowered = token::Slot(placeOf(options)).reset();
    std::cout << (wasPowered ? "The token was reset.\n"
                             : "The token is not powered: there is nothing to reset.\n");
    return good;
}

int unblock(const Options& options) {
    token::unblock(pathOf(options));
    std::cout << "The password is not blocked; failed logins: 0.\n";
    return good;
}

int backup(const Options& options) {
    const std::string path = pathOf(options);
    token::backUp(path, options.file);
    std::cout << "Backed up " << printable(path) << " to " << printable(options.file) << ".\n";
    return good;
}

int restore(const Options& options) {
    const std::string path = pathToMake(options);
    const std::string kept = token::restore(path, options.file);
    std::cout << "Restored " << printable(path) << " from " << printable(options.file) << ".\n";
    if (!kept.empty()) {
        std::cout << "What was there is no image that can be read; it is kept as "
                  << printable(kept) << ".\n";
    }
    return good;
}

token::ReaderAddress addressOf(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    const std::string host = text.substr(0, colon);
    const bool inBrackets = host.starts_with('[') && host.ends_with(']');
    return {inBrackets ? host.substr(1, host.size() - 2) : host, text.substr(colon + 1)};
}

int serve(const Options& options) {
    token::serve(placeOf(options), addressOf(options.vpcd),
                 [](const std::string& text) { std::cout << printable(text) << std::endl; });
    return good;
}

struct Command {
    const char* name;
    const char* description;
    int (*run)(const Options& options);
};

constexpr Command commands[] = {
    {"create", "Make a fresh image; its password is 1234", create},
    {"show", "Show the tree with types, attributes and sizes, never contents", show},
    {"check", "Say whether the image is sound (status 0) or damaged (1), and what is wrong", check},
    {"eject", "Take the token out of its reader", eject},
    {"insert", "Put it back in", insert},
    {"reset", "End selection, login and open transactions of a powered token", reset},
    {"unblock", "Let a password be tried again that ten failed logins have blocked", unblock},
    {"backup", "Back up the image to a new file, also while the token is in use", backup},
    {"serve", "Put the token into a virtual reader, until SIGINT or SIGTERM", serve},
    {"restore", "Put a backup in the image's place; nobody may be connected", restore},
};

// Both tell what is wrong with the argument; empty: nothing is.
std::string addressProblem(const std::string& argument) {
    const std::size_t colon = argument.rfind(':');
    const bool isOne = colon != std::string::npos && colon != 0 && colon + 1 != argument.size();
    return isOne ? "" : "not HOST:PORT";
}

std::string fileNameProblem(const std::string& argument) {
    return argument.empty() ? "an empty argument names no file" : "";
}

void addOptions(CLI::App& sub, Options& options) {
    const std::string name = sub.get_name();
    if (name == "show") {
        sub.add_flag("--json", options.json, "For programs");
    } else if (name == "check") {
        sub.add_flag("--login", options.login,
                     "Open sealed content too, with the password from a line of standard input; "
                     "a wrong one counts as a failed login");
    } else if (name == "serve") {
        sub.add_option("--vpcd", options.vpcd, "Where the reader's driver listens")
            ->option_text("HOST:PORT (" + options.vpcd + ")")
            ->check(addressProblem);
    } else if (name == "backup" || name == "restore") {
        sub.add_option("FILE", options.file, "The backup")->required()->check(fileNameProblem);
    }
}

int run(int argc, char** argv) {
    Options options;
    const Command* chosen = nullptr;
    CLI::App app("Looks after the image of a software token.", "ksigil-token");
    app.set_version_flag("--version", "ksigil-token " KSIGIL_VERSION, "Print the version and exit");
    app.add_option("--image", options.image,
                   "The image; else KSIGIL_TOKEN, else ksigil/token.db under XDG_DATA_HOME or "
                   "~/.local/share")
        ->option_text("FILE")
        ->check(fileNameProblem);
    app.require_subcommand(1);
    for (const Command& command : commands) {
        CLI::App* sub = app.add_subcommand(command.name, command.description)->fallthrough();
        addOptions(*sub, options);
        sub->callback([&chosen, &command] { chosen = &command; });
    }
    int status = good;
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        status = app.exit(error) == 0 ? good : failed;
    }
    if (chosen != nullptr && status == good) {
        status = chosen->run(options);
    }
    if (!std::cout.flush()) {
        throw token::Fault("standard output cannot be written");
    }
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    prepareProcess();
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "ksigil-token: " << printable(error.what()) << '\n';
        return failed;
    }
}
