#pragma once

#include <cstddef>
#include <cstdint>

// The published Windows names that the program uses, with the published types and values. Each call
// behaves as its callers rely on and no further. Functions have C++ linkage and constants internal
// linkage, so nothing here meets a C library's symbol of the same name.

using BOOL = int;
using BYTE = std::uint8_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using SIZE_T = std::size_t;
using HANDLE = void*;
using HLOCAL = void*;
using HCRYPTPROV = std::uint64_t;
using LPVOID = void*;
using LPCVOID = const void*;
using LPCSTR = const char*;
using HKEY = void*;
using REGSAM = DWORD;

namespace platform {

// Known by their addresses.
inline char localMachineKey{};
inline char noHandle{};

}  // namespace platform

constexpr BOOL FALSE = 0;
constexpr BOOL TRUE = 1;

constexpr DWORD ERROR_SUCCESS = 0;
constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_INVALID_DATA = 13;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_CALL_NOT_IMPLEMENTED = 120;
constexpr DWORD ERROR_ALREADY_EXISTS = 183;
constexpr DWORD ERROR_MORE_DATA = 234;
constexpr DWORD ERROR_NOT_OWNER = 288;

#define HKEY_LOCAL_MACHINE (static_cast<HKEY>(&platform::localMachineKey))
constexpr REGSAM KEY_READ = 0x20019;
constexpr DWORD MAX_PATH = 260;

constexpr DWORD INFINITE = 0xFFFFFFFF;
constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_ABANDONED = 0x80;
constexpr DWORD WAIT_TIMEOUT = 258;
constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

constexpr DWORD PAGE_READWRITE = 4;
constexpr DWORD FILE_MAP_WRITE = 2;
constexpr DWORD FILE_MAP_READ = 4;
#define INVALID_HANDLE_VALUE (static_cast<HANDLE>(&platform::noHandle))

constexpr DWORD PROV_RSA_FULL = 1;
constexpr DWORD PROV_INTEL_SEC = 22;
constexpr DWORD CRYPT_VERIFYCONTEXT = 0xF0000000;
constexpr DWORD NTE_KEYSET_NOT_DEF = 0x80090019;
constexpr DWORD NTE_FAIL = 0x80090020;

constexpr unsigned LPTR = 0x40;
constexpr DWORD SECURITY_DESCRIPTOR_REVISION = 1;
constexpr DWORD VER_PLATFORM_WIN32_NT = 2;

using PSECURITY_DESCRIPTOR = void*;

struct SECURITY_DESCRIPTOR {
    BYTE Revision;
    BYTE Sbz1;
    std::uint16_t Control;
    void* Owner;
    void* Group;
    void* Sacl;
    void* Dacl;
};

struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};

struct OSVERSIONINFOA {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    char szCSDVersion[128];
};

// The calling thread's last error: what the last failed call left, and what CreateFileMappingA and
// CreateMutexA leave on success (ERROR_ALREADY_EXISTS for an object that was found by its name).
DWORD GetLastError();
void SetLastError(DWORD error);

// The thread's number in the kernel, never 0; the process's number.
DWORD GetCurrentThreadId();
DWORD GetCurrentProcessId();

// Opens or makes the re-entrant mutex of this name; null makes one that nobody else can find. All
// names are this process's own. Null on failure: ERROR_INVALID_HANDLE where the name is a
// mapping's.
HANDLE CreateMutexA(const SECURITY_ATTRIBUTES* attributes, BOOL initialOwner, LPCSTR name);

// Waits for a mutex without limit (`milliseconds` is INFINITE, the only time known here).
// WAIT_ABANDONED: held, after an owner that ended without releasing it. WAIT_FAILED: not held.
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);

// Zero, with ERROR_NOT_OWNER, if the calling thread does not hold the mutex.
BOOL ReleaseMutex(HANDLE handle);

// Opens or makes the zero-filled region of this name. `file` is INVALID_HANDLE_VALUE and `sizeHigh`
// 0; a region that exists keeps its size. Null on failure, as CreateMutexA.
HANDLE CreateFileMappingA(HANDLE file, const SECURITY_ATTRIBUTES* attributes, DWORD protect,
                          DWORD sizeHigh, DWORD sizeLow, LPCSTR name);

// The region's address, for read and write, from offset 0; null if it has fewer than `bytes`. The
// region stays until its views are unmapped and its handles closed.
LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes);
BOOL UnmapViewOfFile(LPCVOID view);

BOOL CloseHandle(HANDLE handle);

// There are no Windows versions here: always zero, with ERROR_CALL_NOT_IMPLEMENTED.
BOOL GetVersionExA(OSVERSIONINFOA* information);

HLOCAL LocalAlloc(unsigned flags, SIZE_T bytes);
HLOCAL LocalFree(HLOCAL block);

// No object here has a security descriptor: always zero, with ERROR_CALL_NOT_IMPLEMENTED.
BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision);
BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, void* dacl,
                               BOOL defaulted);

// Opens the one provider that there is here, "Microsoft Strong Cryptographic Provider" of the type
// PROV_RSA_FULL with CRYPT_VERIFYCONTEXT; `container` is null. Zero, with NTE_KEYSET_NOT_DEF, for
// any other.
BOOL CryptAcquireContextA(HCRYPTPROV* context, LPCSTR container, LPCSTR provider, DWORD type,
                          DWORD flags);

// Fills the buffer with the kernel's random bytes. Zero, with NTE_FAIL, if it did not get them all:
// what the buffer holds is then of no use.
BOOL CryptGenRandom(HCRYPTPROV context, DWORD length, BYTE* buffer);

// `flags` is 0. Zero, with ERROR_INVALID_HANDLE, for a context that was not given out.
BOOL CryptReleaseContext(HCRYPTPROV context, DWORD flags);

// There is no debugger channel here: does nothing.
void OutputDebugStringA(LPCSTR text);

// The registry here is one key, Software\Veldane\kSigil\Logging under HKEY_LOCAL_MACHINE, for
// reading. It stands in the text file that KSIGIL_LOGGING names, else in
// /etc/veldane/ksigil/logging.conf, which is read as the key is opened. Results are 0 or an error:
// a file that is missing or cannot be read whole, a value that is missing, is larger than `size`
// or, but for the text `Path`, is not a decimal number of 32 bits.
LONG RegOpenKeyExA(HKEY root, LPCSTR name, DWORD options, REGSAM access, HKEY* key);
LONG RegQueryValueExA(HKEY key, LPCSTR name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size);
LONG RegCloseKey(HKEY key);

// The directory for temporary files, without a final separator: TMPDIR, or /tmp where that is
// unset, empty or does not fit. `size` is at least 5 bytes. Gives its length.
DWORD GetTempPathA(DWORD size, char* buffer);
