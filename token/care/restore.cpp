#include "token/care/restore.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "token/base/fault.h"
#include "token/care/image_copy.h"
#include "token/image/image_file.h"
#include "token/image/new_file.h"
#include "token/power/lock_file.h"

namespace token {
namespace {

namespace fs = std::filesystem;

bool isReadable(const std::string& path) {
    try {
        return isImage(path);
    } catch (const Fault&) {
        return false;
    }
}

// What is at an image's place, with a crash's journals, which must neither go before the new image
// is there nor stay when it is: they would be taken for its own. It is put back unless replaced.
class OldImage {
  public:
    explicit OldImage(std::string path) : path_(std::move(path)), aside_(path_ + ".replaced") {}
    OldImage(const OldImage&) = delete;
    OldImage& operator=(const OldImage&) = delete;
    ~OldImage() {
        if (hasSecondName_ && !replaced_) {
            moveJournals(aside_, path_);
            unlink(aside_.c_str());
        }
    }

    void setAside();
    void setReplaced() { replaced_ = true; }
    // Removes what was set aside, but keeps what cannot be read as an image.
    std::string dispose();

  private:
    static bool moveJournals(const std::string& from, const std::string& to);

    std::string path_;
    std::string aside_;
    bool hasSecondName_ = false;
    bool replaced_ = false;
};

// Under a second name the old image keeps its journals, and nobody connects to it meanwhile.
void OldImage::setAside() {
    const int error = link(path_.c_str(), aside_.c_str()) == 0 ? 0 : errno;
    if (error == ENOENT) {
        removeLeftovers(path_);
        return;
    }
    std::error_code ignored;
    // Two images: an earlier restoring was cut off when the new one was in place.
    if (error == EEXIST && isReadable(path_) && isReadable(aside_)) {
        unlink(aside_.c_str());
        removeLeftovers(aside_);
        setAside();
        return;
    }
    // The same file under both names: one was cut off here.
    if (error != 0 && !fs::equivalent(path_, aside_, ignored)) {
        errno = error;
        throw systemFault("cannot set the old image aside as", aside_);
    }
    hasSecondName_ = true;
    syncFolderOf(path_);
    if (!moveJournals(path_, aside_)) {
        throw systemFault("cannot set aside the journals of", path_);
    }
    syncFolderOf(path_);
}

bool OldImage::moveJournals(const std::string& from, const std::string& to) {
    bool moved = true;
    for (const char* ending : companionEndings) {
        const int result = rename((from + ending).c_str(), (to + ending).c_str());
        moved = moved && (result == 0 || errno == ENOENT);
    }
    return moved;
}

std::string OldImage::dispose() {
    if (!hasSecondName_) {
        return "";
    }
    if (!isReadable(aside_)) {
        return aside_;
    }
    unlink(aside_.c_str());
    for (const char* ending : companionEndings) {
        unlink((aside_ + ending).c_str());
    }
    return "";
}

void needFileOrNothing(const std::string& path) {
    const fs::file_status status = fs::status(path);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw Fault(path + " is not a file");
    }
}

}  // namespace

std::string restore(const std::string& path, const std::string& file) {
    const std::string source = realImagePath({file, false}, Missing::refuse);
    needImage(source);
    needFileOrNothing(path);
    if (isCompanion(path, source)) {
        throw Fault(file + " is a name that the image itself uses");
    }
    if (source == path) {
        throw Fault(file + " is the image itself");
    }
    const LockFile lockFile(path);
    const LockFile::Connecting connecting(lockFile);
    if (lockFile.isAnyUserThere()) {
        throw Fault("the token is powered; restore when nobody is connected to it");
    }
    NewFile fresh(path);
    copyImage(source, fresh.path());
    OldImage old(path);
    old.setAside();
    fresh.nameOver(path);
    old.setReplaced();
    syncFolderOf(path);
    return old.dispose();
}

}  // namespace token
