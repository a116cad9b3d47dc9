#include "support/exception.h"

#include "platform/win32.h"

namespace VDW {

namespace {

constexpr int rngFacility = 1;

constexpr u32 facilityCode(int facility, int code) {
    return 0xE0000000U | (static_cast<u32>(facility) & 0xFFFU) << 16 |
           (static_cast<u32>(code) & 0xFFFFU);
}

}  // namespace

Exception::Exception(u32 failureCode, const char* text) : message(text), code(failureCode) {}

Exception::Exception(int facility, int failureCode, const char* text)
    : Exception(facilityCode(facility, failureCode), text) {}

Win32Exception::Win32Exception(const char* text) : Exception(GetLastError(), text) {}

RngException::RngException(int failureCode, const char* text)
    : Exception(rngFacility, failureCode, text), plainCode(failureCode) {}

}  // namespace VDW
