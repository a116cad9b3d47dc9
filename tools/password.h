#pragma once

#include <functional>
#include <string>

#include "tools/text.h"

namespace tools {

// A password, wiped with this object.
class Password {
  public:
    // The first line of a file, "-" for standard input, without its end.
    static Password ofFile(const std::string& name);
    // Asked at the process's terminal, which shows nothing of it. `hint` says what to do where
    // there is none. The caller holds no lock.
    static Password ofTerminal(const std::string& question, const std::string& hint);

    Password(Password&& other) noexcept = default;
    Password(const Password&) = delete;
    Password& operator=(const Password&) = delete;
    ~Password();

    const Bytes& bytes() const { return bytes_; }

  private:
    Password();
    // `next` gives a byte, or -1 at the end.
    void readLine(const std::function<int()>& next, const std::string& from);

    Bytes bytes_;
};

}  // namespace tools
