#include "token/care/image_copy.h"

#include "token/base/fault.h"
#include "token/care/check.h"
#include "token/care/stable_image.h"
#include "token/image/image_header.h"
#include "token/image/open_image.h"

namespace token {
namespace {

void copyPages(Database& source, Database& target) {
    sqlite3_backup* backup = sqlite3_backup_init(target.handle(), "main", source.handle(), "main");
    if (backup == nullptr) {
        target.fail();
    }
    const int result = sqlite3_backup_step(backup, -1);
    if (sqlite3_backup_finish(backup) != SQLITE_OK || result != SQLITE_DONE) {
        target.fail();
    }
}

void copy(const std::string& path, const std::string& target) {
    const StableImage stable(path);
    needImage(path);
    Database from = openImage(path);
    Database to(target, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX);
    to.execute("PRAGMA journal_mode = MEMORY; PRAGMA synchronous = OFF");
    beginReading(from);
    copyPages(from, to);
    // A copy is one file, in whatever journal mode the image is.
    to.execute("PRAGMA journal_mode = DELETE");
}

}  // namespace

void copyImage(const std::string& path, const std::string& target) {
    try {
        copy(path, target);
    } catch (const Fault& fault) {
        throw Fault("cannot copy the image " + path + ": " + fault.what());
    }
    const Findings findings = check(target, nullptr);
    if (!findings.problems.empty()) {
        throw Fault("the image " + path +
                    " is damaged; problems: " + std::to_string(findings.problems.size()) +
                    ", the first: " + findings.problems.front());
    }
}

}  // namespace token
