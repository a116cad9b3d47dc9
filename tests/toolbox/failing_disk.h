#pragma once

#include <sqlite3.h>

#include <map>

// The databases' disk, of which one call fails: a write (whose first half is then written), a sync,
// a truncation, a deletion, an opening. A full disk fails writes only, all from that one on.
struct FailingDisk {
    static inline int untilFailure = 0;  // calls, the failing one included; 0 or less: none
    static inline bool isFull = false;
    static inline bool hasFailed = false;
    static inline sqlite3_vfs* const real = sqlite3_vfs_find(nullptr);

    static bool fails(bool writes) {
        const bool now = (writes || !isFull) && untilFailure > 0 && --untilFailure == 0;
        hasFailed = hasFailed || now;
        return now || (writes && isFull && hasFailed);
    }

    // For all databases that are opened from now on.
    static void install() {
        static sqlite3_vfs disk = *real;
        disk.zName = "failing";
        disk.xOpen = open;
        disk.xDelete = [](sqlite3_vfs* self, const char* name, int syncs) {
            return fails(false) ? SQLITE_IOERR_DELETE : real->xDelete(self, name, syncs);
        };
        sqlite3_vfs_register(&disk, 1);
    }

    // Files differ in their locking alone, so that the other methods of one do for all.
    static int open(sqlite3_vfs* self, const char* name, sqlite3_file* file, int flags, int* out) {
        static std::map<const sqlite3_io_methods*, sqlite3_io_methods> failing;
        static const sqlite3_io_methods* methods = nullptr;
        file->pMethods = nullptr;
        const int rv = fails(false) ? SQLITE_CANTOPEN : real->xOpen(self, name, file, flags, out);
        if (file->pMethods != nullptr) {
            methods = file->pMethods;
            sqlite3_io_methods& own = failing[methods] = *methods;
            own.xWrite = [](sqlite3_file* to, const void* from, int size, sqlite3_int64 at) {
                const bool failed = fails(true);
                const int result = methods->xWrite(to, from, failed ? size / 2 : size, at);
                return failed ? (isFull ? SQLITE_FULL : SQLITE_IOERR_WRITE) : result;
            };
            own.xSync = [](sqlite3_file* of, int how) {
                return fails(false) ? SQLITE_IOERR_FSYNC : methods->xSync(of, how);
            };
            own.xTruncate = [](sqlite3_file* of, sqlite3_int64 size) {
                return fails(false) ? SQLITE_IOERR_TRUNCATE : methods->xTruncate(of, size);
            };
            file->pMethods = &own;
        }
        return rv;
    }
};
