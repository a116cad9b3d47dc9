#pragma once

#include "platform/win32.h"

namespace platform {

// A DLL of the system's own folder, from nowhere else, which stays loaded; null if there is none.
inline HMODULE systemLibrary(const char* name) {
    return LoadLibraryExA(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
}

// Takes the library's function of that name into `function`; null if it has none, or if it is
// itself null.
template <typename Function>
void take(HMODULE library, const char* name, Function*& function) {
    // Without a library the search would be in the program itself.
    const FARPROC found = library != nullptr ? GetProcAddress(library, name) : nullptr;
    function = reinterpret_cast<Function*>(reinterpret_cast<void*>(found));
}

}  // namespace platform
