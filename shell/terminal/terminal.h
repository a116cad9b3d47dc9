#pragma once

#include <memory>

namespace ksigil {

// Puts a line editor between an operator and the shell, where standard input and output are a
// terminal that can be edited on; elsewhere it does nothing. It must outlive the shell's last read.
class Terminal {
  public:
    Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal();

  private:
    struct Inside;
    std::unique_ptr<Inside> inside_;
};

}  // namespace ksigil
