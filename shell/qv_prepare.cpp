// Prepares a token for the shell's `pr`, and tells what of the protector was there and what it
// made.

#include <functional>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "Components/qv_aid/qv_filesystem.h"
#include "Components/qv_aid/qv_protector.h"
#include "apdulib/error_text.h"
#include "apdulib/rm_apdutalker.h"
#include "include/qv_appentry.h"
#include "include/reader_name.h"
#include "include/result_numbers.h"
#include "platform/process.h"
#include "platform/win32.h"
#include "support/create_rng.h"
#include "support/exception.h"

namespace {

constexpr u32 weakSource = 4;  // as a random source tells its kind

// One thing of the protector, and whether it is on the token.
struct Finding {
    std::string what;
    bool isThere;
};

// Looks for the entry, the directory and the key, each if the one before it is told where.
u32 look(ApduTalker& talker, std::vector<Finding>& findings) {
    const QVAppEntry entries;
    const QVFileSystem files;
    std::vector<u8> directory;
    bool isThere = false;
    u32 rv = entries.isAppEntryExist(talker, QVProtector::applicationId, isThere);
    if (rv == result::success) {
        findings.push_back({"Application entry", isThere});
    }
    if (rv == result::success && isThere) {
        rv = entries.get_kSAppEntry(talker, QVProtector::applicationId, directory);
        const std::string path = rootPath + std::string(directory.begin(), directory.end());
        const std::pair<const char*, std::string> places[] = {
            {"Directory ", path}, {"Key ", path + QVProtector::keyFileId}};
        for (const auto& [what, place] : places) {
            if (rv == result::success) {
                rv = files.isFileExists(talker, place, isThere);
            }
            if (rv == result::success) {
                findings.push_back({what + place, isThere});
            }
        }
    }
    return rv;
}

// What was there at first comes first in `after`, in the same order.
void tell(const std::vector<Finding>& before, const std::vector<Finding>& after, bool isComplete) {
    for (std::size_t i = 0; i < after.size(); ++i) {
        const bool wasThere = i < before.size() && before[i].isThere;
        const bool isKey = i == 2;
        const char* const made =
            isKey && !isComplete ? "made without its value: remove it and prepare again" : "made";
        std::cout << after[i].what << ": "
                  << (wasThere           ? "was there"
                      : after[i].isThere ? made
                                         : "missing")
                  << '\n';
        if (isKey && !wasThere && after[i].isThere && createRng()->sourceKind() == weakSource) {
            std::cout << "The system has no random source: this key keeps nothing secret\n";
        }
    }
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

// Makes what is missing, and tells also after a failure what is known.
std::string prepare(ApduTalker& talker, QVProtector& protector) {
    std::vector<Finding> before;
    std::vector<Finding> after;
    std::string failure = failureOf(look(talker, before));
    if (failure.empty()) {
        failure = failureOf([&] { return failureOf(protector.create(talker)); });
        const u32 rv = look(talker, after);
        tell(before, after, failure.empty());
        if (failure.empty()) {
            failure = failureOf(rv);
        }
    } else {
        tell(before, before, true);
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
    platform::prepareProcess();
    std::string output = "Usage QVPrepare <readername>";
    if (argc == 2) {
        output = failureOf(prepareUnderLock);
    }
    if (!output.empty()) {
        std::cout << output << '\n';
    }
    const bool isTold = !std::cout.flush().fail();
    return output.empty() && isTold ? 0 : 1;
}
