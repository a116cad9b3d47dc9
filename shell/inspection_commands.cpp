#include <iostream>

#include "include/result_numbers.h"
#include "shell/qv_shell.h"

namespace {

const char* yesOrNo(bool yes) {
    return yes ? "Yes" : "No";
}

void printInfo(const QVFileInfo& info) {
    std::cout << "Name     : " << info.name << '\n'
              << "Directory: " << yesOrNo(info.isDirectory()) << '\n'
              << "Size     : " << info.size << '\n'
              << "Private  : " << yesOrNo(info.isPrivate()) << '\n';
}

void printEntry(const std::string& name) {
    std::cout << name << '\n';
}

void printEntry(const QVFileInfo& info) {
    std::cout << info.name << ' ' << info.size << '\n';
}

}  // namespace

bool QVShell::cmdInfo() {
    return onCard([this] {
        QVFileInfo info;
        const u32 rv = fileSystem.getFileInfo(talker, readWord(), info);
        if (rv == ksigil::result::success) {
            printInfo(info);
        } else {
            printFailure(rv, "Cannot call fs.getFileInfo(): ");
        }
    });
}

template <typename Entry>
bool QVShell::list(Listing<Entry> listing, const char* failure) {
    return onCard([this, listing, failure] {
        std::vector<Entry> entries;
        const u32 rv = (fileSystem.*listing)(talker, readWord(), entries);
        if (rv == ksigil::result::success) {
            for (const Entry& entry : entries) {
                printEntry(entry);
            }
        } else {
            printFailure(rv, failure);
        }
    });
}

bool QVShell::cmdList() {
    return list(&QVFileSystem::dir, "Cannot call fs.dir(): ");
}

bool QVShell::cmdListFiles() {
    return list(&QVFileSystem::listFiles, "Cannot call fs.dir(): ");
}

bool QVShell::cmdListDirectories() {
    return list(&QVFileSystem::listDirectories, "Cannot call fs.listDirectories(): ");
}
