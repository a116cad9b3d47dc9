#include "token/image/image_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "token/base/fault.h"
#include "token/base/gcrypt.h"
#include "token/image/image_format.h"
#include "token/image/new_file.h"
#include "token/image/password.h"

namespace token {
namespace {

namespace fs = std::filesystem;

// How long one waits for another's lock on the database. A lock is free for moments only while
// somebody writes and writes: so the looks are many.
constexpr std::chrono::milliseconds lookEvery{1};
constexpr int mostLooks = 1000;

int waitForLock(void*, int looks) {
    std::this_thread::sleep_for(lookEvery);
    return looks < mostLooks ? 1 : 0;
}

constexpr const char* schema = R"(
PRAGMA journal_mode = MEMORY;
PRAGMA synchronous = OFF;
BEGIN;
CREATE TABLE token (
    one INTEGER PRIMARY KEY CHECK (one = 1),
    serial BLOB NOT NULL,
    present INTEGER NOT NULL) STRICT;
CREATE TABLE password (
    one INTEGER PRIMARY KEY CHECK (one = 1),
    cost_n INTEGER NOT NULL,
    cost_p INTEGER NOT NULL,
    salt BLOB NOT NULL,
    wrapped_key BLOB NOT NULL,
    failures INTEGER NOT NULL) STRICT;
CREATE TABLE object (
    number INTEGER PRIMARY KEY AUTOINCREMENT,
    parent INTEGER NOT NULL,
    id INTEGER NOT NULL,
    type INTEGER NOT NULL,
    attribute INTEGER NOT NULL,
    size INTEGER NOT NULL,
    key BLOB,
    UNIQUE (parent, id)) STRICT;
CREATE TABLE page (
    number INTEGER PRIMARY KEY,
    bytes BLOB NOT NULL) STRICT;
)";

void makeFolders(const fs::path& folder) {
    if (folder.empty() || fs::exists(folder)) {
        return;
    }
    makeFolders(folder.parent_path());
    if (mkdir(folder.c_str(), 0700) != 0) {
        if (errno != EEXIST) {
            throw systemFault("cannot make the folder", folder);
        }
    } else if (chmod(folder.c_str(), 0700) != 0) {  // whatever the umask
        throw systemFault("cannot make the folder", folder);
    }
    syncFolderOf(folder);
}

// Read through the database's own open file, but not as a database: nothing is locked, recovered or
// written, and a crash that left the file shorter or longer than it says is no matter.
std::array<std::uint8_t, 100> headerOf(const std::string& path) {
    const Database database(path, SQLITE_OPEN_READONLY);
    sqlite3_file* file = nullptr;
    sqlite3_file_control(database.handle(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
    std::array<std::uint8_t, 100> header{};
    const int error = file == nullptr || file->pMethods == nullptr
                          ? SQLITE_CANTOPEN
                          : file->pMethods->xRead(file, header.data(), header.size(), 0);
    if (error != SQLITE_OK && error != SQLITE_IOERR_SHORT_READ) {
        throw Fault(path + " cannot be read: " + sqlite3_errstr(error));
    }
    return header;
}

std::int64_t number(const std::array<std::uint8_t, 100>& header, std::size_t at) {
    return std::int64_t{header[at]} << 24 | header[at + 1] << 16 | header[at + 2] << 8 |
           header[at + 3];
}

// Both numbers stand in the file's first bytes from its making on.
void checkHeader(const std::string& path) {
    constexpr std::size_t versionAt = 60;
    constexpr std::size_t applicationIdAt = 68;
    const auto header = headerOf(path);
    if (std::memcmp(header.data(), "SQLite format 3", 16) != 0 ||
        number(header, applicationIdAt) != imageApplicationId) {
        throw Fault(path + " is not a token image");
    }
    const std::int64_t version = number(header, versionAt);
    if (version < unsealedVersion || version > imageVersion) {
        throw Fault(path + " is a token image of version " + std::to_string(version) +
                    "; this program knows versions " + std::to_string(unsealedVersion) + " to " +
                    std::to_string(imageVersion));
    }
}

// What a lost image left beside its place; empty if there is nothing of use.
std::string leftoverOf(const std::string& path) {
    for (const char* ending : {"-journal", "-wal"}) {
        std::string leftover = path + ending;
        struct stat about {};
        if (stat(leftover.c_str(), &about) == 0 && about.st_size != 0) {
            return leftover;
        }
    }
    return {};
}

// It would be taken for a part of a new image.
void checkLeftovers(const std::string& path) {
    if (const std::string leftover = leftoverOf(path); !leftover.empty()) {
        throw Fault("there is no image " + path + ", but its " + leftover +
                    ": put the image back, or delete that file");
    }
}

void fill(const std::string& path) {
    static constexpr std::uint8_t freshPassword[] = {'1', '2', '3', '4'};
    Database database(path, SQLITE_OPEN_READWRITE);
    database.execute(schema);
    Buffer serial(serialLength);
    useGcrypt();
    gcry_create_nonce(serial.data(), serial.size());
    Statement token(database, "INSERT INTO token VALUES (1, ?, 1)");
    Query(token).bind(serial).run();
    const PassingKey key = freshKey();
    const PasswordRecord record = wrap(key, freshPassword, serial);
    Statement password(database, "INSERT INTO password VALUES (1, ?, ?, ?, ?, 0)");
    Query(password)
        .bind(std::int64_t{record.costN})
        .bind(std::int64_t{record.costP})
        .bind(record.salt)
        .bind(record.wrappedKey)
        .run();
    database.execute("COMMIT");
    const std::string numbers = "PRAGMA application_id = " + std::to_string(imageApplicationId) +
                                "; PRAGMA user_version = " + std::to_string(imageVersion);
    database.execute(numbers.c_str());
}

}  // namespace

std::string realImagePath(const ImagePlace& place, Missing missing) {
    if (place.path.empty()) {
        throw Fault(
            "the image has no place: KSIGIL_TOKEN is unset, and XDG_DATA_HOME and HOME name no "
            "absolute path");
    }
    const fs::path path(place.path);
    try {
        if (place.isDefault && missing == Missing::make) {
            makeFolders(path.parent_path());
        }
        if (fs::is_symlink(path)) {
            return fs::canonical(path);
        }
        return fs::canonical(path.has_parent_path() ? path.parent_path() : ".") / path.filename();
    } catch (const fs::filesystem_error& error) {
        throw Fault("the place of the image " + place.path +
                    " cannot be found: " + error.code().message());
    }
}

FileIdentity identityOf(const std::string& path) {
    struct stat about {};
    if (stat(path.c_str(), &about) != 0) {
        throw systemFault("cannot look at the image", path);
    }
    return {about.st_dev, about.st_ino};
}

bool isImage(const std::string& path) {
    struct stat about {};
    if (stat(path.c_str(), &about) != 0) {
        if (errno == ENOENT) {
            return false;
        }
        throw systemFault("cannot look at the image", path);
    }
    if (!S_ISREG(about.st_mode)) {
        throw Fault(path + " is not a file");
    }
    if (about.st_size == 0) {
        throw Fault(path + " is empty, not a token image");
    }
    if (about.st_nlink > 1) {
        throw Fault(path + " has a second name (a hard link), so its locks would not hold");
    }
    checkHeader(path);
    return true;
}

void needImage(const std::string& path) {
    if (!isImage(path)) {
        throw Fault("there is no image " + path);
    }
}

bool isCompanion(const std::string& imagePath, const std::string& file) {
    const fs::path folder = fs::weakly_canonical(file);
    return folder == imagePath + ".lock" || folder == imagePath + ".replaced" ||
           std::any_of(std::begin(companionEndings), std::end(companionEndings),
                       [&](const char* ending) { return folder == imagePath + ending; });
}

void removeLeftovers(const std::string& path) {
    bool removed = false;
    for (const char* ending : companionEndings) {
        removed = unlink((path + ending).c_str()) == 0 || removed;
    }
    if (removed) {
        syncFolderOf(path);
    }
}

void makeImage(const std::string& path) {
    checkLeftovers(path);
    NewFile file(path);
    try {
        fill(file.path());
    } catch (const Fault& fault) {
        throw Fault("cannot make the image " + path + ": " + fault.what());
    }
    file.nameOnly(path);
    syncFolderOf(path);
}

Database openImage(const std::string& path) {
    Database database(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX);
    sqlite3_busy_handler(database.handle(), waitForLock, nullptr);
    // An image has neither, so that what is there is another's and must not act.
    sqlite3_db_config(database.handle(), SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(database.handle(), SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    sqlite3_db_config(database.handle(), SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    database.execute("PRAGMA trusted_schema = OFF; PRAGMA cell_size_check = ON");
    return database;
}

void beginReading(Database& database) {
    database.execute("BEGIN; PRAGMA schema_version");  // the least that there is to read
}

}  // namespace token
