#pragma once

#include <functional>
#include <map>
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

    // The banner, then the loop until `exit`, the end of the input, or a command that could not
    // lock or unlock the card (for `t`, only lock). Gives the process's exit status: 1 after such a
    // command, else 0.
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

    // How a command's use of the card went.
    enum class CardUse { notLocked, notUnlocked, complete };

    static const Command commands[];

    void printBanner();
    bool dispatch(const std::string& word);

    // Runs a command's `work` under the card lock: it reads the arguments, calls the service and
    // prints. A lock that fails runs nothing; an unlock that fails is told.
    CardUse useCard(const std::function<void()>& work);
    // The same; false if the card could not be locked or unlocked, which ends the shell.
    bool onCard(const std::function<void()>& work);

    // Arguments. Once a read has failed, each further one of the same command gives an empty word,
    // 0, or nothing.
    static std::string readWord();
    static std::vector<u8> readBytes();
    static u32 readNumber();

    // "OK." for the result 0, else the failure line.
    static void report(u32 rv, const char* failure);
    static void printFailure(u32 rv, const char* failure);
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

    // Reads the keyword that ends the command and, if it is one of the two, calls `make` with
    // whether it is the second.
    static void makeByKeyword(const char* const (&keywords)[2],
                              const std::function<u32(bool)>& make, const char* failure);

    // An operation of the file system that appends what is under a path.
    template <typename Entry>
    using Listing = u32 (QVFileSystem::*)(ApduTalker&, const std::string&,
                                          std::vector<Entry>&) const;
    // A command that prints such a listing, one entry a line.
    template <typename Entry>
    bool list(Listing<Entry> listing, const char* failure);

    // A service's encryption, with true, or decryption of the first vector into the second.
    using Cipher = std::function<u32(bool, const std::vector<u8>&, std::vector<u8>&)>;

    // The part of `pr` and `dx` from the operation word on.
    void runCipher(const Cipher& cipher);
    static void printCipherResult(u32 rv, const std::vector<u8>& bytes);

    void exercise(const std::string& path);

    RMApduTalker talker;
    QVPassword password;
    QVFileSystem fileSystem;
    QVProtector protector;
    std::vector<u8> lastEncrypted;  // the last output of `pr E` or `dx E`, for either to decrypt
    std::map<std::string, std::string> commandHelp;
};
