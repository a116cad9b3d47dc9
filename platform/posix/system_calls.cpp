#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "platform/posix/windows_names.h"

namespace {

thread_local DWORD lastError = ERROR_SUCCESS;

BOOL notImplemented() {
    SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
    return FALSE;
}

}  // namespace

DWORD GetLastError() {
    return lastError;
}

void SetLastError(DWORD error) {
    lastError = error;
}

DWORD GetCurrentThreadId() {
    static thread_local const DWORD id = static_cast<DWORD>(gettid());
    return id;
}

DWORD GetCurrentProcessId() {
    return static_cast<DWORD>(getpid());
}

BOOL GetVersionExA(OSVERSIONINFOA*) {
    return notImplemented();
}

HLOCAL LocalAlloc(unsigned, SIZE_T bytes) {
    return std::calloc(1, bytes);
}

HLOCAL LocalFree(HLOCAL block) {
    std::free(block);
    return nullptr;
}

BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR, DWORD) {
    return notImplemented();
}

BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR, BOOL, void*, BOOL) {
    return notImplemented();
}

void OutputDebugStringA(LPCSTR) {}

DWORD GetTempPathA(DWORD size, char* buffer) {
    const char* const named = std::getenv("TMPDIR");
    std::string_view directory = named == nullptr ? "" : named;
    if (directory.empty() || directory.length() >= size) {
        directory = "/tmp";
    }
    const std::size_t length = directory.copy(buffer, size - 1);
    buffer[length] = '\0';
    return static_cast<DWORD>(length);
}
