#pragma once

#include "apdulib/apdu.h"

// The commands that carry a password and the one that ends the login. Lengths are in bytes, at most
// 0xFFFFFFF7; the length byte in the frame keeps the low 8 bits. None has reply data.

struct ApduPasswordData {
    u8 length;
    // The password's bytes follow.
};

class ApduLogin : public Apdu {
  public:
    using Data = ApduPasswordData;

    // Writes the length; the caller copies the bytes to `password()`.
    explicit ApduLogin(u32 length);
    ApduLogin(const u8* password, u32 length);

    Data* data() { return reinterpret_cast<Data*>(Apdu::data()); }
    u8* password() { return Apdu::data() + sizeof(Data); }
};

// Carries the new password alone.
class ApduChangePassword : public Apdu {
  public:
    using Data = ApduPasswordData;

    // Writes the length; the caller copies the bytes to `password()`.
    explicit ApduChangePassword(u32 length);
    ApduChangePassword(const u8* password, u32 length);

    Data* data() { return reinterpret_cast<Data*>(Apdu::data()); }
    u8* password() { return Apdu::data() + sizeof(Data); }
};

class ApduLogout : public Apdu {
  public:
    struct Data {
        u8 unused;  // always 0
    };

    ApduLogout();

    Data* data() { return reinterpret_cast<Data*>(Apdu::data()); }
};

static_assert(sizeof(ApduPasswordData) == 1 && sizeof(ApduLogout::Data) == 1);
