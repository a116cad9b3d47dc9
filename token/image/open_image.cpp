#include "token/image/open_image.h"

#include <optional>

#include "token/base/fault.h"
#include "token/base/system.h"
#include "token/base/waiting.h"
#include "token/image/companions.h"
#include "token/image/tables.h"

namespace token {
namespace {

constexpr const char* busyOnes = "works on the image";

// One who writes or reads has a lock on one of these bytes of the log's index. The byte behind them
// is locked by all who have it open.
constexpr std::int64_t firstLock = 120;
constexpr std::int64_t locks = 8;

std::int32_t busyProcess(sqlite3* handle) {
    const char* const image = sqlite3_db_filename(handle, "main");
    return system().processThatLocks(std::string(image) + indexEnding, firstLock, locks);
}

int waitForLock(void* handle, int looks) {
    thread_local std::optional<Wait> wait;
    if (looks == 0) {
        wait.emplace(busyOnes);
    }
    return wait->pause(busyProcess(static_cast<sqlite3*>(handle))) ? 1 : 0;
}

void waitForLocks(Database& database) {
    sqlite3_busy_handler(database.handle(), waitForLock, database.handle());
}

int checkpoint(Database& database) {
    return sqlite3_wal_checkpoint_v2(database.handle(), "main", SQLITE_CHECKPOINT_TRUNCATE, nullptr,
                                     nullptr);
}

}  // namespace

Database openImage(const std::string& path) {
    needOwnCompanions(path);
    Database database(path, SQLITE_OPEN_READWRITE);
    if (sqlite3_db_readonly(database.handle(), "main") != 0) {
        throw Fault("it is read-only");
    }
    // The database gives the log the image's own mode.
    needSuccess(system().closeToOthers(path), "cannot keep other users from", path);
    waitForLocks(database);
    // The log is taken into the image at every so many pages.
    database.execute(
        "PRAGMA synchronous = FULL; PRAGMA wal_autocheckpoint = 256; PRAGMA secure_delete = ON");
    needImageIn(database);
    return database;
}

// An image has no trigger and no view. One that is added after the tables were compared must not
// act either. What the database sorts or undoes it keeps in memory, and never in another file.
void needImageIn(Database& database) {
    sqlite3_db_config(database.handle(), SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(database.handle(), SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_db_config(database.handle(), SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    database.execute(
        "PRAGMA trusted_schema = OFF; PRAGMA cell_size_check = ON; PRAGMA temp_store = MEMORY");
    needTables(database);
}

void beginReading(Database& database) {
    database.execute("BEGIN; PRAGMA schema_version");  // the least that there is to read
}

void emptyLog(Database& database) {
    Wait wait(busyOnes);
    int result = checkpoint(database);
    while ((result & 0xFF) == SQLITE_BUSY && wait.pause(busyProcess(database.handle()))) {
        result = checkpoint(database);
    }
    if (result != SQLITE_OK) {
        database.fail();
    }
}

void tryToEmptyLog(Database& database) {
    sqlite3_busy_handler(database.handle(), nullptr, nullptr);
    checkpoint(database);
    waitForLocks(database);
}

}  // namespace token
