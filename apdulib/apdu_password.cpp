#include "apdulib/apdu_password.h"

#include <algorithm>

namespace ksigil {

template <u8 ins>
ApduPassword<ins>::ApduPassword(u32 length) : Apdu(ins, length + 1, 0) {
    data()->length = static_cast<u8>(length);
}

template <u8 ins>
ApduPassword<ins>::ApduPassword(const u8* password, u32 length) : ApduPassword(length) {
    std::copy_n(password, length, this->password());
}

template class ApduPassword<0x20>;
template class ApduPassword<0xD4>;

}  // namespace ksigil

ApduLogout::ApduLogout() : Apdu(0xDC, sizeof(Data), 0) {
    data()->unused = 0;
}
