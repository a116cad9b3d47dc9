#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Components/qv_aid/qv_filesystem.h"
#include "Components/qv_aid/qv_password.h"
#include "Components/qv_aid/qv_protector.h"
#include "apdulib/rm_apdutalker.h"
#include "include/basic_types.h"

// The console shell: reads words from standard input, runs the command that a word names on the
// token, writes what comes of it to standard output. One thread.
class QVShell {
  public:
    // Connects nothing: a reader that is not there shows at the first command.
    explicit QVShell(const std::string& readerName);

    QVShell(const QVShell&) = delete;
    QVShell& operator=(const QVShell&) = delete;

    // The banner, then the loop until `exit`, the end of the input, or a command whose card lock
    // failed. Gives the process's exit status: 1 after such a command, else 0.
    int run();

    // A result other than 0 in words for the operator, its number behind them.
    static std::string errorText(u32 rv);

  private:
    // Gives false to end the loop.
    using Handler = bool (QVShell::*)();

    struct Command {
        std::string_view word;
        Handler handler;
    };

    // Two words that a command accepts, and no other.
    struct Choice {
        std::string_view yes;
        std::string_view no;
    };

    static const Command commands[];
    static const Choice privacy;
    static const Choice factors;

    void printBanner();
    bool dispatch(const std::string& word);
    static void printUnknownWord();

    // What every command on the token has in common. Runs `work` under the card lock; `work` reads
    // the command's arguments, calls the service and prints. A lock that fails runs nothing.
    bool onCard(const std::function<void()>& work);

    // Arguments. Once a read has failed, each further one of the same command gives an empty word,
    // 0, or nothing.
    static std::string readWord();
    static std::vector<u8> readBytes();
    static u32 readNumber();
    static std::optional<bool> readChoice(const Choice& choice);

    // "OK." for the result 0, else the failure line.
    static void report(u32 rv, const char* failure);
    static void printFailure(u32 rv, const char* failure);
    static void printSyntaxError();
    static void printBytes(const std::vector<u8>& bytes);

    bool cmdHelp();
    bool cmdLogin();
    bool cmdLogout();
    bool cmdChangePassword();
    bool cmdList();
    bool cmdListFiles();
    bool cmdListDirectories();
    bool cmdMakeDirectory();
    bool cmdMakeFile();
    bool cmdMakeKey();
    bool cmdInfo();
    bool cmdRead();
    bool cmdWrite();
    bool cmdWriteKey();
    bool cmdRemove();
    bool cmdProtector();
    bool cmdDesx();
    bool cmdExercise();

    // A service's encryption, with true, or decryption of the first vector into the second.
    using Cipher = std::function<u32(bool, const std::vector<u8>&, std::vector<u8>&)>;

    // What `pr` and `dx` have in common from the operation word on.
    void runCipher(const Cipher& cipher);
    static void printCipherResult(u32 rv, const std::vector<u8>& bytes);

    void exercise(const std::string& path);

    RMApduTalker talker_;
    QVPassword password_;
    QVFileSystem fileSystem_;
    QVProtector protector_;
    std::vector<u8> lastEncrypted;  // what `pr` or `dx` encrypted last, for either to decrypt
    std::map<std::string, std::string> commandHelp;
};
