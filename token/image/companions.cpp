#include "token/image/companions.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <span>

#include "token/base/fault.h"
#include "token/base/system.h"
#include "token/image/new_file.h"

namespace token {
namespace {

[[noreturn]] void refuseJournal(const std::string& imagePath, const std::string& journal) {
    throw Fault("there is no image " + imagePath + ", but its " + journal +
                ": put the image back, or delete that file");
}

[[noreturn]] void refuse(const std::string& file, const std::string& why) {
    throw Fault(file + " stands beside the image and " + why + ": look at it, and move it away");
}

// A journal ends in these bytes where it names another file.
constexpr std::uint8_t endOfName[] = {0xD9, 0xD5, 0x05, 0xF9, 0x20, 0xA1, 0x63, 0xD7};

bool namesAnotherFile(const std::string& journal) {
    std::uint8_t end[sizeof endOfName] = {};
    needSuccess(system().readEnd(journal, std::as_writable_bytes(std::span(end))), "cannot read",
                journal);
    return std::equal(std::begin(end), std::end(end), std::begin(endOfName));
}

void needOwn(const std::string& file, const FileFacts& image) {
    FileFacts facts;
    needSuccess(system().look(file, Links::stopAt, facts), "cannot look at", file);
    if (facts.kind == FileFacts::Kind::nothing) {
        return;
    }
    if (facts.kind != FileFacts::Kind::file || facts.names != 1) {
        refuse(file, "is a link or no file");
    }
    if ((facts.owner != image.owner && facts.owner != system().userNumber()) ||
        facts.othersMayWrite) {
        refuse(file, "is another user's, or one that others may write to");
    }
    if (facts.size != 0 && namesAnotherFile(file)) {
        refuse(file, "names another file");
    }
}

}  // namespace

void needOwnCompanions(const std::string& imagePath) {
    FileFacts image;
    needSuccess(system().look(imagePath, Links::follow, image), "cannot look at", imagePath);
    for (const char* ending : companionEndings) {
        needOwn(imagePath + ending, image);
    }
}

bool isCompanion(const std::string& imagePath, const std::string& file) {
    const std::filesystem::path path = std::filesystem::weakly_canonical(file);
    return path == imagePath + ".lock" || path == imagePath + ".replaced" ||
           std::any_of(std::begin(companionEndings), std::end(companionEndings),
                       [&](const char* ending) { return path == imagePath + ending; });
}

void needNoJournal(const std::string& imagePath) {
    for (const char* ending : {"-journal", "-wal"}) {
        const std::string journal = imagePath + ending;
        FileFacts facts;
        if (system().look(journal, Links::follow, facts) == 0 && facts.size != 0) {
            refuseJournal(imagePath, journal);
        }
    }
}

void removeCompanions(const std::string& imagePath) {
    bool removed = false;
    for (const char* ending : companionEndings) {
        removed = system().remove(imagePath + ending) == 0 || removed;
    }
    if (removed) {
        syncFolderOf(imagePath);
    }
}

void moveCompanions(const std::string& from, const std::string& to) {
    int failure = 0;
    for (const char* ending : companionEndings) {
        const int error = system().renameOver(from + ending, to + ending);
        failure = error == 0 || error == ENOENT ? failure : error;
    }
    needSuccess(failure, "cannot set aside the journals of", from);
}

}  // namespace token
