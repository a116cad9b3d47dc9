#include "token/image/companions.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>

#include "token/base/fault.h"
#include "token/base/system.h"
#include "token/image/new_file.h"

namespace token {
namespace {

[[noreturn]] void refuseJournal(const std::string& imagePath, const std::string& journal) {
    throw Fault("there is no image " + imagePath + ", but its " + journal +
                ": put the image back, or delete that file");
}

}  // namespace

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
