#include <iostream>

#include "include/result_numbers.h"
#include "shell/qv_shell.h"

namespace {

constexpr u32 exerciseSize = 2000;  // bytes

}  // namespace

bool QVShell::cmdProtector() {
    return onCard([this] {
        runCipher([this](bool encrypt, const std::vector<u8>& input, std::vector<u8>& output) {
            return protector.operation(talker, encrypt, input, output);
        });
    });
}

bool QVShell::cmdDesx() {
    return onCard([this] {
        const std::string path = readWord();
        runCipher([&](bool encrypt, const std::vector<u8>& input, std::vector<u8>& output) {
            return fileSystem.desx(talker, path, encrypt, input, output);
        });
    });
}

void QVShell::runCipher(const Cipher& cipher) {
    const std::string word = readWord();
    if (word == "E" || word == "e") {
        const u32 rv = cipher(true, readBytes(), lastEncrypted);
        printCipherResult(rv, lastEncrypted);
    } else if (word == "D" || word == "d") {
        std::vector<u8> decrypted;
        const u32 rv = cipher(false, lastEncrypted, decrypted);
        printCipherResult(rv, decrypted);
    } else {
        std::cout << "Syntax error.\n";
    }
}

void QVShell::printCipherResult(u32 rv, const std::vector<u8>& bytes) {
    report(rv, "Failed: ");
    if (rv == ksigil::result::success) {
        printBytes(bytes);
    }
}

// A lock that can't be given back is told like any command's, but doesn't end the loop here.
bool QVShell::cmdExercise() {
    return useCard([this] { exercise("3f00d8000001"); }) != CardUse::notLocked;
}

void QVShell::exercise(const std::string& path) {
    std::cout << "Remove " << path << '\n';
    report(fileSystem.del(talker, path), "fs.del(): ");
    std::cout << "Create " << path << '\n';
    report(fileSystem.createFile(talker, path, exerciseSize, false),
           "Cannot call fs.createFile(): ");
    std::cout << "Write to " << path << '\n';
    report(fileSystem.writeFile(talker, path, 0, std::vector<u8>(exerciseSize)),
           "fs.writeBinaryFile(): ");
}
