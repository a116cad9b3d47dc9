// Prepares a token for the shell's `pr`, and tells which parts of the protector were there and
// which it made.

#include <functional>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "Components/qv_aid/qv_protector.h"
#include "apdulib/error_text.h"
#include "apdulib/rm_apdutalker.h"
#include "include/reader_name.h"
#include "include/result_numbers.h"
#include "platform/process.h"
#include "platform/waiting_notice.h"
#include "platform/win32.h"
#include "support/exception.h"

using namespace ksigil;

namespace {

constexpr char usage[] = "Usage QVPrepare <readername>";
constexpr char help[] = R"(
Makes what a token lacks of the protector: the application entry, the directory and the key.
The argument must be there and is not read: the reader is always "VDW ifdh 0".

  --help     Print this and end
  --version  Print the version and end
)";

using Parts = std::vector<QVProtector::Part>;

constexpr const char* partNames[] = {"Application entry", "Directory ", "Key "};
constexpr std::size_t keyPart = 2;

// `after` starts with the parts of `before`, in the same order.
void tell(const Parts& before, const Parts& after, bool isComplete, bool isWeak) {
    for (std::size_t i = 0; i < after.size(); ++i) {
        const bool wasThere = i < before.size() && before[i].isThere;
        const bool isNewKey = i == keyPart && !wasThere && after[i].isThere;
        const char* const made = isNewKey && !isComplete
                                     ? "made without its value: remove it and prepare again"
                                     : "made";
        std::cout << partNames[i] << after[i].path << ": "
                  << (wasThere           ? "was there"
                      : after[i].isThere ? made
                                         : "missing")
                  << '\n';
        if (isNewKey && isWeak) {
            std::cout << "The system has no random source: this key keeps nothing secret\n";
        }
    }
}

// The line for a failure, empty for a success.
std::string failureLine(u32 rv) {
    return rv == result::success ? "" : "Failed: " + errorText(rv);
}

// The work's own line, or that of the exception that ended it.
std::string lineOf(const std::function<std::string()>& work) {
    std::string line;
    try {
        line = work();
    } catch (const VDW::Exception& exception) {
        line = "Failed: " + exception.message + " " + errorText(exception.code);
    }
    return line;
}

// Empty unless the table of application entries can't take one more: to try would lose them all.
std::string fullTable(ApduTalker& talker, const QVProtector& protector) {
    const u32 rv = protector.checkRoom(talker);
    return rv == result::notEnoughMemory
               ? "Failed: The table of application entries is full. Remove one first."
               : failureLine(rv);
}

// Makes the missing parts, and tells also after a failure those that it knows of.
std::string prepare(ApduTalker& talker, QVProtector& protector) {
    Parts before;
    Parts after;
    std::string failure = failureLine(protector.look(talker, before));
    if (failure.empty()) {
        failure = fullTable(talker, protector);
    }
    if (failure.empty()) {
        failure = lineOf([&] { return failureLine(protector.create(talker)); });
        const u32 rv = protector.look(talker, after);
        tell(before, after, failure.empty(), protector.sourceKind() == Rng::software);
        if (failure.empty()) {
            failure = failureLine(rv);
        }
    } else {
        tell(before, before, true, false);
    }
    return failure;
}

std::string prepareUnderLock() {
    RMApduTalker talker(readerName, SCARD_SHARE_SHARED);
    QVProtector protector;
    talker.create();  // a failure comes back from the lock
    std::string failure = failureLine(talker.lock());
    if (failure.empty()) {
        failure = lineOf([&] { return prepare(talker, protector); });
        const u32 rv = talker.unlock(SCARD_LEAVE_CARD);
        if (rv != result::success && failure.empty()) {
            failure = "Cannot unlock" + errorText(rv);
        }
    }
    return failure;
}

}  // namespace

int main(int argc, char** argv) {
    platform::prepareProcess();
    platform::tellLongWaits();
    const std::string_view argument = argc == 2 ? argv[1] : "-";
    std::string failure;
    if (argument == "--help") {
        std::cout << usage << help;
    } else if (argument == "--version") {
        std::cout << "QVPrepare " KSIGIL_VERSION "\n";
    } else {
        failure = argument.starts_with('-') ? usage : lineOf(prepareUnderLock);
    }
    if (!failure.empty()) {
        std::cout << failure << '\n';
    }
    const bool isTold = !std::cout.flush().fail();
    if (!isTold) {
        platform::writeToStandardError("QVPrepare: cannot write to standard output\n");
    }
    return failure.empty() && isTold ? 0 : 1;
}
