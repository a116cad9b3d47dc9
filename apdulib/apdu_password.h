#pragma once

#include "apdulib/apdu.h"

// The commands that carry a password and the one that ends the login. Lengths are in bytes, at most
// 0xFFFFFFF7; the length byte in the frame keeps the low 8 bits. None has reply data.

namespace ksigil {

template <u8 ins>
class ApduPassword : public Apdu {
  public:
    struct Data {
        u8 length;
        // The password's bytes follow.
    };

    // Writes the length; the caller copies the bytes to `password()`.
    explicit ApduPassword(u32 length);
    ApduPassword(const u8* password, u32 length);

    Data* data() { return reinterpret_cast<Data*>(Apdu::data()); }
    u8* password() { return Apdu::data() + sizeof(Data); }
};

}  // namespace ksigil

using ApduLogin = ksigil::ApduPassword<0x20>;
using ApduChangePassword = ksigil::ApduPassword<0xD4>;  // carries the new password alone

class ApduLogout : public Apdu {
  public:
    struct Data {
        u8 unused;  // always 0
    };

    ApduLogout();

    Data* data() { return reinterpret_cast<Data*>(Apdu::data()); }
};

static_assert(sizeof(ApduLogin::Data) == 1 && sizeof(ApduLogout::Data) == 1);
