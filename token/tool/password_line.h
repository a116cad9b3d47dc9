#pragma once

#include <array>

#include "token/base/bytes.h"
#include "token/base/secret.h"

// A password from one line of standard input, which a terminal does not show. Wiped at its end; no
// other copy is made. Throws token::Fault if there is no line, or one longer than a password.
class PasswordLine {
  public:
    PasswordLine();
    PasswordLine(const PasswordLine&) = delete;
    PasswordLine& operator=(const PasswordLine&) = delete;
    ~PasswordLine() { token::wipe(bytes_); }

    token::Bytes bytes() const { return token::Bytes(bytes_).first(length_); }

  private:
    static constexpr std::size_t longest = 255;

    void read();

    std::array<std::uint8_t, longest> bytes_{};
    std::size_t length_ = 0;
};
