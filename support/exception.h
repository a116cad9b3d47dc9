#pragma once

#include <string>

#include "include/basic_types.h"

// Thrown where a system mutex or the random source fails. QVSh ends with them, but for a look at
// the token for Tab, which just finds nothing; QVPrepare tells them to its user.
namespace VDW {

class Exception {
  public:
    Exception(u32 failureCode, const char* text);
    // `code` becomes 0xE0000000 with the low 12 bits of `facility` above the low 16 of
    // `failureCode`.
    Exception(int facility, int failureCode, const char* text);
    virtual ~Exception() = default;

    std::string message;
    u32 code;
};

// A failed system call: `code` is GetLastError at the moment of construction.
class Win32Exception : public Exception {
  public:
    explicit Win32Exception(const char* text);
};

// A failed random source: facility 1, and the failure's whole number beside it.
class RngException : public Exception {
  public:
    RngException(int failureCode, const char* text);

    int plainCode;
};

}  // namespace VDW
