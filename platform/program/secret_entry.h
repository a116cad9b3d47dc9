#pragma once

#include <memory>
#include <string>

namespace platform {

// The user's terminal while a secret is typed at it: it shows nothing of it, and the program is not
// stopped before it is as it was. Signals are noted.
class SecretEntry {
  public:
    SecretEntry();
    SecretEntry(const SecretEntry&) = delete;
    SecretEntry& operator=(const SecretEntry&) = delete;
    ~SecretEntry();

    // False where the program has no terminal.
    bool isThere() const { return terminal_ != nullptr; }
    // False, with the reason in errno, where it cannot be written.
    bool ask(const std::string& question);
    // The next byte; -1 where none comes, for the end, a signal or a failure, of which errno is
    // then the number, and else 0.
    int next();

  private:
    struct Terminal;
    std::unique_ptr<Terminal> terminal_;
};

}  // namespace platform
