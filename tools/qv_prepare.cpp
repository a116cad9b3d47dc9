// Prepares a token for the shell's `pr`, and tells what of the protector was there and what it
// made.

#include <functional>
#include <iostream>
#include <string>

#include "Components/qv_aid/qv_filesystem.h"
#include "Components/qv_aid/qv_protector.h"
#include "apdulib/error_text.h"
#include "apdulib/rm_apdutalker.h"
#include "include/qv_appentry.h"
#include "include/reader_name.h"
#include "include/result_numbers.h"
#include "platform/win32.h"
#include "support/exception.h"

namespace {

// What of the protector is on the token. A path stands only where the entry exists.
struct Findings {
    bool hasEntry = false;
    bool hasDirectory = false;
    bool hasKey = false;
    std::string directoryPath;
    std::string keyPath;
};

u32 look(ApduTalker& talker, Findings& findings) {
    const QVAppEntry entries;
    const QVFileSystem files;
    std::vector<u8> directory;
    u32 rv = entries.isAppEntryExist(talker, QVProtector::applicationId, findings.hasEntry);
    if (rv == result::success && findings.hasEntry) {
        rv = entries.get_kSAppEntry(talker, QVProtector::applicationId, directory);
        if (rv == result::success) {
            findings.directoryPath = rootPath + std::string(directory.begin(), directory.end());
            findings.keyPath = findings.directoryPath + QVProtector::keyFileId;
            rv = files.isFileExists(talker, findings.directoryPath, findings.hasDirectory);
        }
        if (rv == result::success) {
            rv = files.isFileExists(talker, findings.keyPath, findings.hasKey);
        }
    }
    return rv;
}

void tell(const std::string& what, const std::string& path, bool before, bool after,
          const char* made = "made") {
    const char* const state = before ? "was there" : after ? made : "missing";
    std::cout << what << (path.empty() ? "" : " ") << path << ": " << state << '\n';
}

void tell(const Findings& before, const Findings& after, bool isComplete) {
    tell("Application entry", "", before.hasEntry, after.hasEntry);
    tell("Directory", after.directoryPath, before.hasDirectory, after.hasDirectory);
    tell("Key", after.keyPath, before.hasKey, after.hasKey,
         isComplete ? "made" : "made without its value: remove it and prepare again");
}

// The line for a failure, empty for a success.
std::string failureOf(u32 rv) {
    return rv == result::success ? "" : "Failed: " + errorText(rv);
}

// The work's own line, or that of the exception that ended it.
std::string failureOf(const std::function<std::string()>& work) {
    std::string failure;
    try {
        failure = work();
    } catch (const VDW::Exception& exception) {
        failure = "Failed: " + exception.message + " " + errorText(exception.code);
    }
    return failure;
}

// Makes what is missing, and tells also after a failure what was made.
std::string prepare(ApduTalker& talker, QVProtector& protector) {
    Findings before;
    Findings after;
    std::string failure = failureOf(look(talker, before));
    if (failure.empty()) {
        failure = failureOf([&] { return failureOf(protector.create(talker)); });
        const u32 rv = look(talker, after);
        if (rv == result::success) {
            tell(before, after, failure.empty());
        } else if (failure.empty()) {
            failure = failureOf(rv);
        }
    }
    return failure;
}

std::string prepareUnderLock() {
    RMApduTalker talker(readerName, SCARD_SHARE_SHARED);
    QVProtector protector;
    talker.create();  // a failure comes back from the lock
    std::string failure = failureOf(talker.lock());
    if (failure.empty()) {
        failure = failureOf([&] { return prepare(talker, protector); });
        const u32 rv = talker.unlock(SCARD_LEAVE_CARD);
        if (rv != result::success && failure.empty()) {
            failure = "Cannot unlock" + errorText(rv);
        }
    }
    return failure;
}

}  // namespace

int main(int argc, char**) {
    std::string output = "Usage QVPrepare <readername>";
    if (argc == 2) {
        output = failureOf(prepareUnderLock);
    }
    if (!output.empty()) {
        std::cout << output << '\n';
    }
    return output.empty() ? 0 : 1;
}
