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

void printSizes(const std::vector<QVFileInfo>& infos) {
    for (const QVFileInfo& info : infos) {
        std::cout << info.name << ' ' << info.size << '\n';
    }
}

void printNames(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        std::cout << name << '\n';
    }
}

}  // namespace

bool QVShell::cmdInfo() {
    return onCard([this] {
        QVFileInfo info;
        const u32 rv = fileSystem_.getFileInfo(talker_, readWord(), info);
        if (rv == result::success) {
            printInfo(info);
        } else {
            printFailure(rv, "Cannot call fs.getFileInfo(): ");
        }
    });
}

bool QVShell::cmdList() {
    return onCard([this] {
        std::vector<std::string> names;
        const u32 rv = fileSystem_.dir(talker_, readWord(), names);
        if (rv == result::success) {
            printNames(names);
        } else {
            printFailure(rv, "Cannot call fs.dir(): ");
        }
    });
}

bool QVShell::cmdListFiles() {
    return onCard([this] {
        std::vector<QVFileInfo> infos;
        const u32 rv = fileSystem_.listFiles(talker_, readWord(), infos);
        if (rv == result::success) {
            printSizes(infos);
        } else {
            printFailure(rv, "Cannot call fs.dir(): ");
        }
    });
}

bool QVShell::cmdListDirectories() {
    return onCard([this] {
        std::vector<std::string> names;
        const u32 rv = fileSystem_.listDirectories(talker_, readWord(), names);
        if (rv == result::success) {
            printNames(names);
        } else {
            printFailure(rv, "Cannot call fs.listDirectories(): ");
        }
    });
}
