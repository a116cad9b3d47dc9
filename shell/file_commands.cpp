#include <iostream>

#include "include/result_numbers.h"
#include "shell/qv_shell.h"

const QVShell::Choice QVShell::privacy{"PRV", "PUB"};
const QVShell::Choice QVShell::factors{"2F", "1F"};

void QVShell::printSyntaxError() {
    std::cout << "Syntax error\n";
}

bool QVShell::cmdMakeDirectory() {
    return onCard([this] {
        const std::string path = readWord();
        const std::optional<bool> isPrivate = readChoice(privacy);
        if (isPrivate) {
            report(fileSystem_.createDirectory(talker_, path, *isPrivate),
                   "Cannot call fs.createDirectory(): ");
        } else {
            printSyntaxError();
        }
    });
}

bool QVShell::cmdMakeFile() {
    return onCard([this] {
        const std::string path = readWord();
        const u32 size = readNumber();
        const std::optional<bool> isPrivate = readChoice(privacy);
        if (isPrivate) {
            report(fileSystem_.createFile(talker_, path, size, *isPrivate),
                   "Cannot call fs.createFile(): ");
        } else {
            printSyntaxError();
        }
    });
}

bool QVShell::cmdMakeKey() {
    return onCard([this] {
        const std::string path = readWord();
        const std::optional<bool> isTwoFactor = readChoice(factors);
        if (isTwoFactor) {
            report(fileSystem_.createFile(talker_, path, *isTwoFactor),
                   "Cannot call fs.createKey(): ");
        } else {
            printSyntaxError();
        }
    });
}

bool QVShell::cmdRead() {
    return onCard([this] {
        const std::string path = readWord();
        const u32 offset = readNumber();
        const u32 length = readNumber();
        std::vector<u8> bytes;
        const u32 rv = fileSystem_.readFile(talker_, path, offset, length, bytes);
        report(rv, "Cannot call fs.readBinaryFile(): ");
        if (rv == result::success) {
            printBytes(bytes);
        }
    });
}

bool QVShell::cmdWrite() {
    return onCard([this] {
        const std::string path = readWord();
        const u32 offset = readNumber();
        const std::vector<u8> bytes = readBytes();
        report(fileSystem_.writeFile(talker_, path, offset, bytes),
               "Cannot call fs.writeBinaryFile(): ");
    });
}

bool QVShell::cmdWriteKey() {
    return onCard([this] {
        const std::string path = readWord();
        const std::vector<u8> bytes = readBytes();
        report(fileSystem_.writeFile(talker_, path, bytes), "Cannot call fs.writeKey(): ");
    });
}

bool QVShell::cmdRemove() {
    return onCard(
        [this] { report(fileSystem_.del(talker_, readWord()), "Cannot call fs.del(): "); });
}
