#include <utility>

#include "platform/waiting_notice.h"
#include "token/base/waiting.h"

namespace platform {

void setLongWaitNotice(std::function<void(const std::string&)> notice) {
    token::WaitNotice told;
    if (notice) {
        told = [notice = std::move(notice)](std::int32_t process, const std::string& does) {
            notice(token::wordsOfWait(process, does));
        };
    }
    token::setWaitNotice(std::move(told));
}

}  // namespace platform
