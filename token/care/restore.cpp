#include "token/care/restore.h"

#include <cerrno>
#include <utility>

#include "token/base/fault.h"
#include "token/base/system.h"
#include "token/care/image_copy.h"
#include "token/image/companions.h"
#include "token/image/image_bytes.h"
#include "token/image/image_header.h"
#include "token/image/image_place.h"
#include "token/image/new_file.h"
#include "token/image/open_image.h"
#include "token/power/lock_file.h"

namespace token {
namespace {

FileFacts factsOf(const std::string& path) {
    FileFacts facts;
    system().look(path, Links::follow, facts);
    return facts;
}

bool isSameFile(const std::string& one, const std::string& other) {
    const FileFacts facts = factsOf(one);
    return facts.kind != FileFacts::Kind::nothing && facts.identity == factsOf(other).identity;
}

bool isReadable(const std::string& path) {
    try {
        return isImage(path);
    } catch (const Fault&) {
        return false;
    }
}

// The image that stands at a place, with the log of a crash. That must neither go before the new
// image is there nor stay when it is: it would be taken for its own. It is put back unless
// replaced.
class OldImage {
  public:
    explicit OldImage(std::string path) : path_(std::move(path)), aside_(path_ + ".replaced") {}
    OldImage(const OldImage&) = delete;
    OldImage& operator=(const OldImage&) = delete;
    ~OldImage();

    void takeInLog();
    void setAside();
    void setReplaced() { replaced_ = true; }
    // Removes the image that was set aside. One that cannot be read as an image is kept, and the
    // result is where.
    std::string dispose();

  private:
    std::string path_;
    std::string aside_;
    bool hasSecondName_ = false;
    bool replaced_ = false;
};

void OldImage::takeInLog() {
    try {
        if (lengthOfLog(path_) != 0 && isImage(path_)) {
            Database database = openImage(path_);
            emptyLog(database);
        }
    } catch (const Fault&) {
        // The log goes where the image goes.
    }
}

OldImage::~OldImage() {
    if (hasSecondName_ && !replaced_) {
        try {
            moveCompanions(aside_, path_);
        } catch (const Fault&) {
            // One that stays aside is with the image's second name, for the next restoring.
        }
        system().remove(aside_);
    }
}

// Its log is emptied first, where it can be read, so that the file alone is whole under either
// name. Under a second name it keeps a log that is left, and nobody connects to it meanwhile.
void OldImage::setAside() {
    takeInLog();
    const int error = system().addName(path_, aside_);
    if (error == ENOENT) {
        removeCompanions(path_);
        return;
    }
    // Two images: an earlier restoring was cut off when the new one was in place.
    if (error == EEXIST && isReadable(path_) && isReadable(aside_)) {
        system().remove(aside_);
        removeCompanions(aside_);
        setAside();
        return;
    }
    // The same file under both names: one was cut off here.
    if (error != 0 && !isSameFile(path_, aside_)) {
        throw systemFault("cannot set the old image aside as", aside_, error);
    }
    hasSecondName_ = true;
    syncFolderOf(path_);
    moveCompanions(path_, aside_);
    syncFolderOf(path_);
}

std::string OldImage::dispose() {
    if (!hasSecondName_) {
        return "";
    }
    if (!isReadable(aside_)) {
        return aside_;
    }
    system().remove(aside_);
    for (const char* ending : companionEndings) {
        system().remove(aside_ + ending);
    }
    return "";
}

void needFileOrNothing(const std::string& path) {
    const FileFacts::Kind kind = factsOf(path).kind;
    if (kind != FileFacts::Kind::nothing && kind != FileFacts::Kind::file) {
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
    const LockFile::ConnectLock connectLock(lockFile);
    if (lockFile.isAnyUserThere()) {
        throw Fault("the token is powered; restore when nobody is connected to it");
    }
    NewFile fresh(path);
    ImageCopy copy = copySoundImage(source);
    fresh.write(bytesOf(copy.database));
    OldImage old(path);
    old.setAside();
    fresh.publishOver(path);
    old.setReplaced();
    syncFolderOf(path);
    return old.dispose();
}

}  // namespace token
