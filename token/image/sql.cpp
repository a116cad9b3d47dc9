#include "token/image/sql.h"

#include <filesystem>
#include <system_error>

#include "token/base/fault.h"
#include "token/image/image_files.h"

namespace token {

Database::Database() {
    open(":memory:", SQLITE_OPEN_READWRITE, nullptr);
}

// An absolute name is never taken for a URI, which could lead to another file.
Database::Database(const std::string& path, int flags) {
    open(std::filesystem::absolute(path).c_str(), flags, imageFiles());
}

void Database::open(const char* name, int flags, const char* files) {
    sqlite3* handle = nullptr;
    const int error =
        sqlite3_open_v2(name, &handle, flags | SQLITE_OPEN_EXRESCODE | SQLITE_OPEN_NOMUTEX, files);
    handle_.reset(handle);
    if (error != SQLITE_OK) {
        throw Fault(words(name));
    }
}

void Database::execute(const char* sql) {
    if (sqlite3_exec(handle(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail();
    }
}

void Database::fail() const {
    switch (sqlite3_errcode(handle()) & 0xFF) {
        case SQLITE_ERROR:  // no such table or column
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            throw Damage(sqlite3_errmsg(handle()));
        default:
            throw Fault(words(sqlite3_db_filename(handle(), "main")));
    }
}

// With the file and, where the system failed, its reason.
std::string Database::words(const char* path) const {
    const int result = sqlite3_errcode(handle()) & 0xFF;
    const bool isSystems = result == SQLITE_IOERR || result == SQLITE_CANTOPEN;
    const int error = isSystems ? sqlite3_system_errno(handle()) : 0;
    std::string words = sqlite3_errmsg(handle());
    words += path == nullptr || *path == '\0' ? "" : std::string(", ") + path;
    return error == 0 ? words : words + ": " + std::generic_category().message(error);
}

Statement::Statement(Database& database, const char* sql) : database_(database) {
    sqlite3_stmt* handle = nullptr;
    const int error =
        sqlite3_prepare_v3(database.handle(), sql, -1, SQLITE_PREPARE_PERSISTENT, &handle, nullptr);
    handle_.reset(handle);
    if (error != SQLITE_OK) {
        database.fail();
    }
}

Query::~Query() {
    sqlite3_reset(statement_.handle());
    sqlite3_clear_bindings(statement_.handle());
}

Query& Query::bind(std::int64_t value) {
    if (sqlite3_bind_int64(statement_.handle(), ++bound_, value) != SQLITE_OK) {
        statement_.database().fail();
    }
    return *this;
}

Query& Query::bind(Bytes value) {
    if (sqlite3_bind_blob64(statement_.handle(), ++bound_, value.data(), value.size(),
                            SQLITE_STATIC) != SQLITE_OK) {
        statement_.database().fail();
    }
    return *this;
}

bool Query::step() {
    const int result = sqlite3_step(statement_.handle());
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        statement_.database().fail();
    }
    return result == SQLITE_ROW;
}

void Query::run() {
    while (step()) {
    }
}

std::int64_t Query::integer(int column) const {
    return sqlite3_column_int64(statement_.handle(), column);
}

std::int64_t Query::integer(int column, std::int64_t least, std::int64_t most) const {
    const std::int64_t value = integer(column);
    if (sqlite3_column_type(statement_.handle(), column) != SQLITE_INTEGER || value < least ||
        value > most) {
        throw Damage("a row of the image is damaged");
    }
    return value;
}

bool Query::isNull(int column) const {
    return sqlite3_column_type(statement_.handle(), column) == SQLITE_NULL;
}

Bytes Query::bytes(int column) const {
    const auto* data =
        static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_.handle(), column));
    const int length = sqlite3_column_bytes(statement_.handle(), column);
    return {data, data == nullptr ? 0 : static_cast<std::size_t>(length)};
}

Buffer Query::buffer(int column) const {
    const Bytes from = bytes(column);
    return {from.begin(), from.end()};
}

std::string Query::text(int column) const {
    const Bytes from = bytes(column);
    return {from.begin(), from.end()};
}

Transaction::Transaction(Database& database) : database_(database) {
    database.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
    if (open_) {
        // Fails where the database has rolled back by itself, which is as good.
        sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

void Transaction::commit() {
    database_.execute("COMMIT");
    open_ = false;
}

}  // namespace token
