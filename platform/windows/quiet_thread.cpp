#include "platform/quiet_thread.h"

#include <system_error>

namespace platform {

// There are no signals to be kept from it.
std::thread startQuietThread(const std::function<void()>& work) {
    std::thread thread;
    try {
        thread = std::thread(work);
    } catch (const std::system_error&) {
        // It stays one that is not joinable.
    }
    return thread;
}

}  // namespace platform
