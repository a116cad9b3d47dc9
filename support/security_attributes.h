#pragma once

#include "platform/win32.h"

// The attributes with which named system objects are made: everyone has all access, handles are
// inheritable. Only read after construction.
class SecurityAttributes {
  public:
    SecurityAttributes();
    ~SecurityAttributes();

    SecurityAttributes(const SecurityAttributes&) = delete;
    SecurityAttributes& operator=(const SecurityAttributes&) = delete;

    // Null where the platform has no such attributes: objects are then made without any.
    SECURITY_ATTRIBUTES* get();

  private:
    SECURITY_ATTRIBUTES attributes{};
    SECURITY_DESCRIPTOR* descriptor = nullptr;
};

namespace ksigil {
// The process's one instance, built before `main`. It outlives each static object that asks for it
// in its constructor.
SecurityAttributes& processSecurityAttributes();
}  // namespace ksigil
