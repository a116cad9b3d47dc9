#include "platform/program/start.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include "platform/program/descriptor.h"

namespace platform {

const bool endsLinesWithReturn = true;

void prepareProgram() {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    for (const int stream : {standardInput, standardOutput, standardError}) {
        _setmode(stream, _O_BINARY);
    }
}

void wipe(void* bytes, std::size_t length) {
    SecureZeroMemory(bytes, length);
}

}  // namespace platform
