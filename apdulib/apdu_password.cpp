#include "apdulib/apdu_password.h"

#include <algorithm>

ApduLogin::ApduLogin(u32 length) : Apdu(0x20, length + 1, 0) {
    data()->length = static_cast<u8>(length);
}

ApduLogin::ApduLogin(const u8* password, u32 length) : ApduLogin(length) {
    std::copy_n(password, length, this->password());
}

ApduChangePassword::ApduChangePassword(u32 length) : Apdu(0xD4, length + 1, 0) {
    data()->length = static_cast<u8>(length);
}

ApduChangePassword::ApduChangePassword(const u8* password, u32 length)
    : ApduChangePassword(length) {
    std::copy_n(password, length, this->password());
}

ApduLogout::ApduLogout() : Apdu(0xDC, sizeof(Data), 0) {
    data()->unused = 0;
}
