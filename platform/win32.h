#pragma once

// The Win32 and PC/SC names that the program is written against.
#ifdef _WIN32
#include <windows.h>
// Behind the one that they need.
#include <wincrypt.h>
#include <winscard.h>
#else
#include "platform/posix/windows_names.h"
#include "platform/posix/winscard_names.h"
#endif
