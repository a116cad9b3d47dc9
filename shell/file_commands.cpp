#include <iostream>

#include "include/result_numbers.h"
#include "shell/qv_shell.h"

namespace {

constexpr const char* privacy[] = {"PUB", "PRV"};
constexpr const char* factors[] = {"1F", "2F"};

}  // namespace

void QVShell::makeByKeyword(const char* const (&keywords)[2], const std::function<u32(bool)>& make,
                            const char* failure) {
    const std::string word = readWord();
    if (word == keywords[0] || word == keywords[1]) {
        report(make(word == keywords[1]), failure);
    } else {
        std::cout << "Syntax error\n";
    }
}

bool QVShell::cmdMakeDirectory() {
    return onCard([this] {
        const std::string path = readWord();
        const auto make = [&](bool isPrivate) {
            return fileSystem.createDirectory(talker, path, isPrivate);
        };
        makeByKeyword(privacy, make, "Cannot call fs.createDirectory(): ");
    });
}

bool QVShell::cmdMakeFile() {
    return onCard([this] {
        const std::string path = readWord();
        const u32 size = readNumber();
        const auto make = [&](bool isPrivate) {
            return fileSystem.createFile(talker, path, size, isPrivate);
        };
        makeByKeyword(privacy, make, "Cannot call fs.createFile(): ");
    });
}

bool QVShell::cmdMakeKey() {
    return onCard([this] {
        const std::string path = readWord();
        const auto make = [&](bool isTwoFactor) {
            return fileSystem.createFile(talker, path, isTwoFactor);
        };
        makeByKeyword(factors, make, "Cannot call fs.createKey(): ");
    });
}

bool QVShell::cmdRead() {
    return onCard([this] {
        const std::string path = readWord();
        const u32 offset = readNumber();
        const u32 length = readNumber();
        std::vector<u8> bytes;
        const u32 rv = fileSystem.readFile(talker, path, offset, length, bytes);
        report(rv, "Cannot call fs.readBinaryFile(): ");
        if (rv == ksigil::result::success) {
            printBytes(bytes);
        }
    });
}

bool QVShell::cmdWrite() {
    return onCard([this] {
        const std::string path = readWord();
        const u32 offset = readNumber();
        const std::vector<u8> bytes = readBytes();
        report(fileSystem.writeFile(talker, path, offset, bytes),
               "Cannot call fs.writeBinaryFile(): ");
    });
}

bool QVShell::cmdWriteKey() {
    return onCard([this] {
        const std::string path = readWord();
        const std::vector<u8> bytes = readBytes();
        report(fileSystem.writeFile(talker, path, bytes), "Cannot call fs.writeKey(): ");
    });
}

bool QVShell::cmdRemove() {
    return onCard([this] { report(fileSystem.del(talker, readWord()), "Cannot call fs.del(): "); });
}
