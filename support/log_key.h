#pragma once

#include "platform/win32.h"

namespace ksigil {

// The registry key of the trace's configuration, open for reading while it exists.
class LogKey {
  public:
    LogKey();
    ~LogKey();

    LogKey(const LogKey&) = delete;
    LogKey& operator=(const LogKey&) = delete;

    // Read a value into `size` bytes at `data`. False if that cannot be done for whatever reason:
    // no key, no such value, one that is larger. The bytes are then anything.
    bool read(const char* name, void* data, DWORD size) const;

  private:
    HKEY key_ = nullptr;
    bool isOpen_;
};

}  // namespace ksigil
