#include "platform/process.h"

#include <fcntl.h>
#include <io.h>

#include <cstdio>

#include "platform/waiting_notice.h"
#include "platform/win32.h"

namespace platform {

void prepareProcess() {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    for (std::FILE* const stream : {stdin, stdout, stderr}) {
        _setmode(_fileno(stream), _O_BINARY);
    }
}

void writeToStandardError(std::string_view text) {
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()),
              &written, nullptr);
}

bool isForked() {
    return false;
}

// The software token, which alone waits so, is not in the program here.
// NOLINTNEXTLINE(performance-unnecessary-value-param): elsewhere it is kept
void setLongWaitNotice(std::function<void(const std::string&)>) {}

}  // namespace platform
