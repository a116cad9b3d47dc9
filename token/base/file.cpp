#include "token/base/file.h"

#include <fcntl.h>
#include <unistd.h>

namespace token {

File::File(int descriptor) : descriptor_(descriptor < 0 ? none : descriptor) {
    if (isOpen() && descriptor_ <= STDERR_FILENO) {
        descriptor_ = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        close(descriptor);
    }
}

File::~File() {
    if (isOpen()) {
        close(descriptor_);
    }
}

}  // namespace token
