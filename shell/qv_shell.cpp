#include "shell/qv_shell.h"

#include <iostream>
#include <utility>

#include "platform/reader_target.h"
#include "platform/win32.h"

namespace {

constexpr std::pair<const char*, const char*> helpTexts[] = {
    {"login", "login <pwd>: login to the Veldane AID"},
    {"logout", "logout: loout from the Veldane AID"},
    {"changepw", "changepw <newpwd>: change the Veldane AID password"},
    {"ld", "ld <path>: list directories under path"},
    {"md", "md <path> <PRV | PUB> : make directory public or private"},
    {"mf", "mf <path> <size> <PRV | PUB>: make a file sized size public or private"},
    {"mk", "mk <path> <1F | 2F>: make a DESX key 1 or 2 factor"},
    {"i", "i <path> : obtain info about a path"},
    {"r", "r <path> <ofs> <len> : read from a binary file"},
    {"wk", "wk <path> <data> : write data to a key (length = 16)"},
    {"w", "w <path> <ofs> <data> : write data to a binary file"},
    {"rm", "rm <path> remove the sub-tree under path recusively"},
    {"pr",
     "pr <E> <data>: encrypt using protector key OR\n"
     "       pr <D> : decrypt last encrypted data"},
    {"dx",
     "dx <E> <path> <data>: encrypt using DESX key OR\n"
     "       dx <path> <D> : decrypt last encrypted data using DESX key."},
};

}  // namespace

const QVShell::Command QVShell::commands[] = {
    {"h", &QVShell::cmdHelp},
    {"login", &QVShell::cmdLogin},
    {"logout", &QVShell::cmdLogout},
    {"changepw", &QVShell::cmdChangePassword},
    {"ls", &QVShell::cmdList},
    {"lfs", &QVShell::cmdListFiles},
    {"ld", &QVShell::cmdListDirectories},
    {"md", &QVShell::cmdMakeDirectory},
    {"mf", &QVShell::cmdMakeFile},
    {"mk", &QVShell::cmdMakeKey},
    {"i", &QVShell::cmdInfo},
    {"r", &QVShell::cmdRead},
    {"w", &QVShell::cmdWrite},
    {"wk", &QVShell::cmdWriteKey},
    {"rm", &QVShell::cmdRemove},
    {"pr", &QVShell::cmdProtector},
    {"dx", &QVShell::cmdDesx},
    {"t", &QVShell::cmdExercise},
};

QVShell::QVShell(const std::string& readerName)
    : talker(readerName, SCARD_SHARE_SHARED),
      commandHelp(std::begin(helpTexts), std::end(helpTexts)) {
    talker.create();  // a failure comes back from the first lock
}

int QVShell::run() {
    printBanner();
    bool keepGoing = true;
    bool quit = false;
    while (!quit && keepGoing) {
        std::cout << '>' << std::flush;
        std::string word;
        std::cin >> word;
        if (std::cin.fail()) {
            std::cout << '\n';
            quit = true;
        } else if (word == "exit") {
            quit = true;
        } else {
            keepGoing = dispatch(word);
        }
    }
    return keepGoing ? 0 : 1;
}

void QVShell::printBanner() {
    std::cout << "QV shell version 1.0\n"
                 "Veldane: console for the security tokens of the kSigil family\n"
                 "Reader \""
              << talker.getReaderName() << "\" leads to " << platform::readerTarget()
              << "\n-------------------------------\n";
}

bool QVShell::dispatch(const std::string& word) {
    for (const Command& command : commands) {
        if (command.word == word) {
            return (this->*command.handler)();
        }
    }
    std::cout << "Syntax error.\n";
    return true;
}

bool QVShell::cmdHelp() {
    const auto help = commandHelp.find(readWord());
    if (help != commandHelp.end()) {
        std::cout << "Usage: " << help->second << '\n';
    } else {
        std::cout << "No command specific help found.\n";
        std::cin.clear();
    }
    return true;
}
