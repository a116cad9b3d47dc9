#include "token/care/backup.h"

#include <filesystem>

#include "token/base/fault.h"
#include "token/care/image_copy.h"
#include "token/image/image_file.h"
#include "token/image/new_file.h"

namespace token {

void backUp(const std::string& path, const std::string& file) {
    if (std::filesystem::exists(std::filesystem::symlink_status(file))) {
        throw Fault(file + " exists already");
    }
    needImage(path);
    if (isCompanion(path, file)) {
        throw Fault(file + " is a name that the image itself uses");
    }
    NewFile copy(file);
    copyImage(path, copy.path());
    copy.nameOnly(file);
    syncFolderOf(file);
}

}  // namespace token
