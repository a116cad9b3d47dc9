#include "token/image/tables.h"

#include <string_view>

#include "token/base/fault.h"

namespace token {
namespace {

struct Entry {
    const char* name;
    const char* table;
    const char* sql;  // empty for an index that a constraint makes
};

// In the order in which an image lists them.
constexpr Entry entries[] = {
    {"token", "token", R"(CREATE TABLE token (
    one INTEGER PRIMARY KEY CHECK (one = 1),
    serial BLOB NOT NULL,
    present INTEGER NOT NULL) STRICT)"},
    {"password", "password", R"(CREATE TABLE password (
    one INTEGER PRIMARY KEY CHECK (one = 1),
    cost_n INTEGER NOT NULL,
    cost_p INTEGER NOT NULL,
    salt BLOB NOT NULL,
    wrapped_key BLOB NOT NULL,
    failures INTEGER NOT NULL) STRICT)"},
    {"object", "object", R"(CREATE TABLE object (
    number INTEGER PRIMARY KEY AUTOINCREMENT,
    parent INTEGER NOT NULL,
    id INTEGER NOT NULL,
    type INTEGER NOT NULL,
    attribute INTEGER NOT NULL,
    size INTEGER NOT NULL,
    key BLOB,
    UNIQUE (parent, id)) STRICT)"},
    {"sqlite_autoindex_object_1", "object", ""},
    {"sqlite_sequence", "sqlite_sequence", "CREATE TABLE sqlite_sequence(name,seq)"},
    {"page", "page", R"(CREATE TABLE page (
    number INTEGER PRIMARY KEY,
    bytes BLOB NOT NULL) STRICT)"},
};

// The database's own names, which nobody else can give.
bool isMadeByDatabase(const Entry& entry) {
    return std::string_view(entry.name).starts_with("sqlite_");
}

bool isNext(Query& query, const Entry& entry) {
    return query.step() && query.text(0) == entry.name && query.text(1) == entry.table &&
           query.text(2) == entry.sql;
}

}  // namespace

void makeTables(Database& database) {
    for (const Entry& entry : entries) {
        if (!isMadeByDatabase(entry)) {
            database.execute(entry.sql);
        }
    }
}

void needTables(Database& database) {
    Statement encoding(database, "PRAGMA encoding");
    Query texts(encoding);
    if (!texts.step() || texts.text(0) != "UTF-8") {
        throw Damage("its texts are not in UTF-8, as those of an image are");
    }
    Statement statement(database,
                        "SELECT name, tbl_name, ifnull(sql, '') FROM sqlite_schema ORDER BY rowid");
    Query query(statement);
    for (const Entry& entry : entries) {
        if (!isNext(query, entry)) {
            throw Damage("its tables are not those of an image");
        }
    }
    if (query.step()) {
        throw Damage("it has more tables than an image");
    }
}

}  // namespace token
