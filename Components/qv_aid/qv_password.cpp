#include "Components/qv_aid/qv_password.h"

#include <algorithm>

#include "apdulib/apdu_password.h"
#include "include/log_gate.h"
#include "include/result_numbers.h"

using namespace ksigil;

namespace {

constexpr std::size_t longestPassword = 0xFFFFFFF7;

template <class Frame>
u32 sendPassword(ApduTalker& talker, const std::vector<u8>& password) {
    u32 rv = result::invalidArgument;
    if (password.size() <= longestPassword) {
        Frame frame(static_cast<u32>(password.size()));
        std::copy(password.begin(), password.end(), frame.password());
        rv = transmitChecked(talker, frame);
    }
    return rv;
}

}  // namespace

u32 QVPassword::login(ApduTalker& talker, const std::vector<u8>& password) const {
    logEntered("QVPassword::login");
    return sendPassword<ApduLogin>(talker, password);
}

u32 QVPassword::changePassword(ApduTalker& talker, const std::vector<u8>& newPassword) const {
    logEntered("QVPassword::changePassword");
    return sendPassword<ApduChangePassword>(talker, newPassword);
}

u32 QVPassword::logout(ApduTalker& talker) const {
    logEntered("QVPassword::logout");
    ApduLogout frame;
    return transmitChecked(talker, frame);
}
