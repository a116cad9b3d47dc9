#include "token/care/image_copy.h"

#include <utility>

#include "token/base/fault.h"
#include "token/base/system.h"
#include "token/base/waiting.h"
#include "token/care/check.h"
#include "token/care/stable_image.h"
#include "token/image/companions.h"
#include "token/image/image_bytes.h"
#include "token/image/image_format.h"
#include "token/image/image_header.h"
#include "token/image/open_image.h"

namespace token {
namespace {

// A log may grow while somebody reads for long; but one that nobody has open is no longer than
// this.
constexpr std::size_t longestLog = 8 * longestImage;

// A file's bytes, none if there is no file. `isOwn` judges what was opened.
template <typename Judge>
Buffer contentOf(const std::string& path, std::size_t longest, const Judge& judge) {
    File file;
    const int error = system().openToRead(path, file);
    if (error == ENOENT) {
        return {};
    }
    needSuccess(error, "cannot read", path);
    FileFacts facts;
    needSuccess(system().look(file, facts), "cannot read", path);
    judge(facts);
    if (facts.size > longest) {
        throw Fault(path + " is longer than any of a token");
    }
    Buffer content(static_cast<std::size_t>(facts.size));
    content.resize(system().readStart(file, std::as_writable_bytes(std::span(content))));
    return content;
}

Buffer readOnce(const std::string& path) {
    Buffer image = contentOf(path, longestImage, [](const FileFacts&) {});
    const std::string log = path + logEnding;
    layLogOver(image, contentOf(log, longestLog,
                                [&](const FileFacts& facts) { needOwn(log, facts, path); }));
    return image;
}

// Nobody has the image open who is held to its lock file. There may be others where this one has no
// place in which to lock, as a container that sees the image's folder read only: so it is read
// until it is the same twice.
Buffer readAtRest(const std::string& path) {
    Wait wait("changes the image");
    Buffer image = readOnce(path);
    for (Buffer again = readOnce(path); again != image; again = readOnce(path)) {
        image = std::move(again);
        if (!wait.pause(0)) {
            throw Fault("another process changes " + path);
        }
    }
    return image;
}

Database copyInUse(const std::string& path) {
    Database from = openImage(path);
    Database to;
    beginReading(from);
    sqlite3_backup* backup = sqlite3_backup_init(to.handle(), "main", from.handle(), "main");
    if (backup == nullptr) {
        to.fail();
    }
    const int result = sqlite3_backup_step(backup, -1);
    if (sqlite3_backup_finish(backup) != SQLITE_OK || result != SQLITE_DONE) {
        to.fail();
    }
    return to;
}

}  // namespace

ImageCopy copyImage(const std::string& path) {
    const StableImage stable(path);
    needImage(path);
    needOwnCompanions(path);
    const bool isInUse = stable.isInUse();
    ImageCopy copy{isInUse ? copyInUse(path) : databaseOf(readAtRest(path)), isInUse,
                   lengthOfLog(path) != 0};
    needImageIn(copy.database);
    return copy;
}

ImageCopy copySoundImage(const std::string& path) {
    try {
        ImageCopy copy = copyImage(path);
        const Findings findings = check(copy.database, nullptr);
        if (!findings.problems.empty()) {
            throw Damage("problems: " + std::to_string(findings.problems.size()) +
                         ", the first: " + findings.problems.front());
        }
        return copy;
    } catch (const Damage& damage) {
        throw Fault("the image " + path + " is damaged; " + damage.what());
    } catch (const Fault& fault) {
        throw Fault("cannot copy the image " + path + ": " + fault.what());
    }
}

void emptyLogOf(const std::string& path) {
    const StableImage stable(path);
    if (stable.isLocked() && lengthOfLog(path) != 0) {
        Database database = openImage(path);
        emptyLog(database);
    }
}

}  // namespace token
