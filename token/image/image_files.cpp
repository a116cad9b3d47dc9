#include "token/image/image_files.h"

#include <fcntl.h>
#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <string>

#include "token/base/fault.h"
#include "token/base/file_size_signal.h"
#include "token/base/system.h"
#include "token/image/companions.h"

namespace token {
namespace {

// By its name: the program around may have made another the usual one.
sqlite3_vfs* below() {
    static sqlite3_vfs* const files = sqlite3_vfs_find("unix");
    return files;
}

// The database gives each file the room for this, and behind it for the file below.
struct OpenFile {
    sqlite3_file base{};
    const char* name = nullptr;  // the database's, as long as the file is open
};

OpenFile& own(sqlite3_file* file) {
    return *reinterpret_cast<OpenFile*>(file);
}

sqlite3_file* below(sqlite3_file* file) {
    return reinterpret_cast<sqlite3_file*>(&own(file) + 1);
}

bool isLog(const char* name) {
    return std::string_view(name).ends_with(logEnding);
}

std::string imageOf(const char* log) {
    return {log, std::strlen(log) - std::strlen(logEnding)};
}

// The image whose log or index this thread lets the database open.
thread_local const char* imageOfNext = nullptr;

class OpeningCompanion {
  public:
    explicit OpeningCompanion(const char* image) { imageOfNext = image; }
    OpeningCompanion(const OpeningCompanion&) = delete;
    OpeningCompanion& operator=(const OpeningCompanion&) = delete;
    ~OpeningCompanion() { imageOfNext = nullptr; }
};

bool isOwn(const File& file, const char* name, const char* image) {
    try {
        FileFacts facts;
        needSuccess(system().look(file, facts), "cannot look at", name);
        needOwn(name, facts, image);
        return true;
    } catch (const Fault&) {
        return false;
    }
}

using Open = int (*)(const char* name, int flags, int mode);
Open openOfDatabase = nullptr;

// Stands in front of the call by which the database opens a file. A log or an index is judged by
// what was opened: nobody can put another file in its place any more, and nothing was written yet.
int openAndJudge(const char* name, int flags, int mode) {
    if (imageOfNext == nullptr) {
        return openOfDatabase(name, flags, mode);
    }
    File file(openOfDatabase(name, flags | O_NOFOLLOW | O_NONBLOCK, mode));
    if (!file.isOpen() || isOwn(file, name, imageOfNext)) {
        return file.release();
    }
    file = File();
    errno = EACCES;
    return -1;
}

// Whether the image that was opened is the file of that name, and has no other one.
bool isOwnImage(OpenFile& file) {
    FileFacts facts;
    int moved = 1;
    sqlite3_file* const real = below(&file.base);
    return system().look(file.name, Links::stopAt, facts) == 0 &&
           facts.kind == FileFacts::Kind::file && facts.names == 1 &&
           real->pMethods->xFileControl(real, SQLITE_FCNTL_HAS_MOVED, &moved) == SQLITE_OK &&
           moved == 0;
}

int closeFile(sqlite3_file* file) {
    return below(file)->pMethods->xClose(below(file));
}
int readFile(sqlite3_file* file, void* to, int length, sqlite3_int64 at) {
    return below(file)->pMethods->xRead(below(file), to, length, at);
}
int writeFile(sqlite3_file* file, const void* from, int length, sqlite3_int64 at) {
    const NoFileSizeSignal held;
    return below(file)->pMethods->xWrite(below(file), from, length, at);
}
int syncFile(sqlite3_file* file, int how) {
    return below(file)->pMethods->xSync(below(file), how);
}
// An emptied log must not come back with the next power: what it held may be an old secret.
int truncateFile(sqlite3_file* file, sqlite3_int64 length) {
    const NoFileSizeSignal held;
    const int result = below(file)->pMethods->xTruncate(below(file), length);
    return result == SQLITE_OK && isLog(own(file).name) ? syncFile(file, SQLITE_SYNC_NORMAL)
                                                        : result;
}
int sizeOfFile(sqlite3_file* file, sqlite3_int64* length) {
    return below(file)->pMethods->xFileSize(below(file), length);
}
int lockFile(sqlite3_file* file, int level) {
    return below(file)->pMethods->xLock(below(file), level);
}
int unlockFile(sqlite3_file* file, int level) {
    return below(file)->pMethods->xUnlock(below(file), level);
}
int checkReserved(sqlite3_file* file, int* isReserved) {
    return below(file)->pMethods->xCheckReservedLock(below(file), isReserved);
}
int controlFile(sqlite3_file* file, int operation, void* argument) {
    return below(file)->pMethods->xFileControl(below(file), operation, argument);
}
int sectorSize(sqlite3_file* file) {
    return below(file)->pMethods->xSectorSize(below(file));
}
int characteristics(sqlite3_file* file) {
    return below(file)->pMethods->xDeviceCharacteristics(below(file));
}

// The first call opens the index.
int mapIndex(sqlite3_file* file, int region, int size, int extends, void volatile** mapped) {
    const NoFileSizeSignal held;
    const OpeningCompanion opening(own(file).name);
    return below(file)->pMethods->xShmMap(below(file), region, size, extends, mapped);
}

int lockIndex(sqlite3_file* file, int offset, int count, int flags) {
    return below(file)->pMethods->xShmLock(below(file), offset, count, flags);
}
void indexBarrier(sqlite3_file* file) {
    below(file)->pMethods->xShmBarrier(below(file));
}
int unmapIndex(sqlite3_file* file, int removes) {
    return below(file)->pMethods->xShmUnmap(below(file), removes);
}

constexpr sqlite3_io_methods methods = {
    2,         closeFile,    readFile,      writeFile,   truncateFile, syncFile,        sizeOfFile,
    lockFile,  unlockFile,   checkReserved, controlFile, sectorSize,   characteristics, mapIndex,
    lockIndex, indexBarrier, unmapIndex,    nullptr,     nullptr};

int openBelow(OpenFile& file, int flags, int* flagsOut) {
    const int result = below()->xOpen(below(), file.name, below(&file.base), flags, flagsOut);
    file.base.pMethods = result == SQLITE_OK ? &methods : nullptr;
    return result;
}

int closeRefused(OpenFile& file) {
    closeFile(&file.base);
    file.base.pMethods = nullptr;
    return SQLITE_CANTOPEN;
}

int openLog(OpenFile& file, int flags, int* flagsOut) {
    const std::string image = imageOf(file.name);
    const OpeningCompanion opening(image.c_str());
    return openBelow(file, flags, flagsOut);
}

int openImage(OpenFile& file, int flags, int* flagsOut) {
    const int result = openBelow(file, flags, flagsOut);
    return result == SQLITE_OK && !isOwnImage(file) ? closeRefused(file) : result;
}

int openFile(sqlite3_vfs*, const char* name, sqlite3_file* room, int flags, int* flagsOut) {
    OpenFile& file = *new (room) OpenFile{};
    file.name = name;
    if ((flags & SQLITE_OPEN_WAL) != 0) {
        return openLog(file, flags, flagsOut);
    }
    return (flags & SQLITE_OPEN_MAIN_DB) != 0 ? openImage(file, flags, flagsOut) : SQLITE_CANTOPEN;
}

int removeFile(sqlite3_vfs*, const char* name, int syncs) {
    return isLog(name) ? below()->xDelete(below(), name, syncs) : SQLITE_IOERR_DELETE;
}

int accessFile(sqlite3_vfs*, const char* name, int how, int* result) {
    *result = 0;
    return isLog(name) ? below()->xAccess(below(), name, how, result) : SQLITE_OK;
}

// The names that come are whole. To resolve links in them would be to follow them.
int fullPathname(sqlite3_vfs*, const char* name, int room, char* full) {
    const std::size_t length = std::strlen(name) + 1;
    if (length > static_cast<std::size_t>(room)) {
        return SQLITE_CANTOPEN;
    }
    std::copy_n(name, length, full);
    return SQLITE_OK;
}

sqlite3_vfs made() {
    sqlite3_vfs files = *below();
    openOfDatabase = reinterpret_cast<Open>(files.xGetSystemCall(below(), "open"));
    files.xSetSystemCall(below(), "open", reinterpret_cast<sqlite3_syscall_ptr>(openAndJudge));
    files.zName = "ksigil-image";
    files.szOsFile += static_cast<int>(sizeof(OpenFile));
    files.xOpen = openFile;
    files.xDelete = removeFile;
    files.xAccess = accessFile;
    files.xFullPathname = fullPathname;
    return files;
}

}  // namespace

const char* imageFiles() {
    static sqlite3_vfs files = made();
    static const int registered = sqlite3_vfs_register(&files, 0);
    return registered == SQLITE_OK ? files.zName : nullptr;
}

}  // namespace token
