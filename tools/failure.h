#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace tools {

// What ends the program with status 1, as one line: what, why, the number, what to do. It gives a
// terminal no orders, whatever names it has in it.
class Failure : public std::runtime_error {
  public:
    // Refused by this program.
    explicit Failure(const std::string& line);
    // A result of the library that is not 0, with its reason: made right behind the call.
    Failure(const std::string& what, std::uint32_t result);

    static Failure ofSystem(const std::string& what, int number);

    std::uint32_t result() const { return result_; }

    // The same, with a sentence on what is left.
    Failure with(const std::string& sentence) const;

  private:
    Failure(const std::string& line, std::uint32_t result, int);

    std::uint32_t result_ = 0;
};

// What ends it with status 2.
class Misuse : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// A line on standard error, which gives a terminal no orders.
void tellAside(const std::string& line);

}  // namespace tools
