#include "token/image/open_image.h"

#include <chrono>
#include <thread>

#include "token/image/companions.h"
#include "token/image/tables.h"

namespace token {
namespace {

// How long one waits for another's lock on the database. A lock is free for moments only while
// somebody writes and writes: so the looks are many.
constexpr std::chrono::milliseconds lookEvery{1};
constexpr int mostLooks = 1000;

int waitForLock(void*, int looks) {
    std::this_thread::sleep_for(lookEvery);
    return looks < mostLooks ? 1 : 0;
}

}  // namespace

Database openImage(const std::string& path) {
    needOwnCompanions(path);
    Database database(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX);
    sqlite3_busy_handler(database.handle(), waitForLock, nullptr);
    // An image has no trigger and no view. One that is added after the tables were compared must
    // not act either.
    sqlite3_db_config(database.handle(), SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(database.handle(), SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_db_config(database.handle(), SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    database.execute("PRAGMA trusted_schema = OFF; PRAGMA cell_size_check = ON");
    needTables(database);
    return database;
}

void beginReading(Database& database) {
    database.execute("BEGIN; PRAGMA schema_version");  // the least that there is to read
}

}  // namespace token
