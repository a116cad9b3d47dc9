#include "token/care/backup.h"

#include "token/base/fault.h"
#include "token/care/image_copy.h"
#include "token/image/companions.h"
#include "token/image/image_bytes.h"
#include "token/image/image_header.h"
#include "token/image/new_file.h"

namespace token {

void backUp(const std::string& path, const std::string& file) {
    needNothingAt(file);
    needImage(path);
    if (isCompanion(path, file)) {
        throw Fault(file + " is a name that the image itself uses");
    }
    NewFile backup(file);
    ImageCopy copy = copySoundImage(path);
    backup.write(bytesOf(copy.database));
    emptyLogOf(path);
    backup.publishNew(file);
    syncFolderOf(file);
}

}  // namespace token
