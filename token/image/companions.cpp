#include "token/image/companions.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>

#include "token/base/fault.h"
#include "token/image/new_file.h"

namespace token {
namespace {

constexpr const char* journalEnding = "-journal";

[[noreturn]] void refuse(const std::string& file, const std::string& why) {
    throw Fault(file + " stands beside the image and " + why + ": look at it, and move it away");
}

FileFacts factsOf(const std::string& file) {
    FileFacts facts;
    needSuccess(system().look(file, Links::stopAt, facts), "cannot look at", file);
    return facts;
}

bool isThere(const FileFacts& facts) {
    return facts.kind != FileFacts::Kind::nothing;
}

}  // namespace

void needOwn(const std::string& file, const FileFacts& facts, const std::string& imagePath) {
    FileFacts image;
    needSuccess(system().look(imagePath, Links::follow, image), "cannot look at", imagePath);
    if (facts.kind != FileFacts::Kind::file || facts.names != 1) {
        refuse(file, "is a link or no file");
    }
    const char* const reach = reachOfOthers(facts, image.owner);
    if (reach != nullptr) {
        refuse(file, std::string("is ") + reach);
    }
}

void needOwnCompanions(const std::string& imagePath) {
    for (const char* ending : companionEndings) {
        const FileFacts facts = factsOf(imagePath + ending);
        if (isThere(facts)) {
            needOwn(imagePath + ending, facts, imagePath);
        }
    }
    if (isThere(factsOf(imagePath + journalEnding))) {
        refuse(imagePath + journalEnding, "is a rollback journal, which no image has");
    }
}

std::uint64_t lengthOfLog(const std::string& imagePath) {
    return factsOf(imagePath + logEnding).size;
}

bool isCompanion(const std::string& imagePath, const std::string& file) {
    const std::filesystem::path path = std::filesystem::weakly_canonical(file);
    return path == imagePath + ".lock" || path == imagePath + ".replaced" ||
           path == imagePath + journalEnding ||
           std::any_of(std::begin(companionEndings), std::end(companionEndings),
                       [&](const char* ending) { return path == imagePath + ending; });
}

void needNoLog(const std::string& imagePath) {
    for (const char* ending : {logEnding, journalEnding}) {
        const std::string log = imagePath + ending;
        if (factsOf(log).size == 0) {
            continue;
        }
        std::string words = "there is no image ";
        words.append(imagePath).append(", but its ").append(log);
        throw Fault(words.append(": put the image back, or delete that file"));
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
    needSuccess(failure, "cannot set aside the log of", from);
}

}  // namespace token
