#pragma once

#include <stdexcept>
#include <string>

namespace token {

// The image or its place does not work: a full disk, an I/O error, a damaged row, a file that is no
// image. The words are for an operator.
class Fault : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The file can be read, but not as the content of an image.
class Damage : public Fault {
  public:
    using Fault::Fault;
};

// The image belongs to a program that serves it to a reader.
class Served : public Fault {
  public:
    using Fault::Fault;
};

// "ACT PATH: " and the system's words for the error number.
Fault systemFault(const std::string& act, const std::string& path, int error);

// Throws systemFault unless `error` is 0.
void needSuccess(int error, const std::string& act, const std::string& path);

}  // namespace token
