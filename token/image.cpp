#include "token/image.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "token/fault.h"
#include "token/image_format.h"

namespace token {
namespace {

// Others' changes take a millisecond or so each and may follow one another without end, so who
// waits looks often; and not for ever, since a program that is no token may hold the file.
int waitForOthers(void*, int looks) {
    constexpr int mostLooks = 1000;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return looks < mostLooks ? 1 : 0;
}

// Nothing is written before the statements have shown that the tables are an image's.
Database opened(const std::string& path) {
    Database database(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX);
    if (sqlite3_db_readonly(database.handle(), "main") != 0) {
        throw Fault("it is read-only");
    }
    sqlite3_busy_handler(database.handle(), waitForOthers, nullptr);
    sqlite3_db_config(database.handle(), SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    database.execute("PRAGMA trusted_schema = OFF; PRAGMA cell_size_check = ON");
    return database;
}

std::int64_t firstPage(const Object& file) {
    return file.number * pagesAnObject;
}

std::int64_t pageBytes(const Object& file, std::int64_t page) {
    return std::min<std::int64_t>(pageLength, file.size - page * pageLength);
}

Bytes wholePage(const Query& query, int column, const Object& file, std::int64_t page) {
    const Bytes bytes = query.bytes(column);
    if (std::cmp_not_equal(bytes.size(), pageBytes(file, page))) {
        throw Fault("a page of a file is damaged");
    }
    return bytes;
}

[[noreturn]] void missing() {
    throw Fault("a row of the image is missing");
}

}  // namespace

Image::Statements::Statements(Database& database)
    : exists(database, "SELECT 1 FROM object WHERE number = ?"),
      child(database,
            "SELECT number, size, type, attribute FROM object WHERE parent = ? AND id = ?"),
      children(database, "SELECT id FROM object WHERE parent = ? ORDER BY number LIMIT ?"),
      childCount(database, "SELECT count(*) FROM object WHERE parent = ?"),
      usage(database, "SELECT count(*), ifnull(sum(size), 0) FROM object"),
      create(database,
             "INSERT INTO object (parent, id, type, attribute, size) VALUES (?, ?, ?, ?, ?)"),
      createPage(database, "INSERT INTO page VALUES (?, zeroblob(?))"),
      remove(database, "DELETE FROM object WHERE number = ?"),
      removePages(database, "DELETE FROM page WHERE number BETWEEN ? AND ?"),
      readPages(database,
                "SELECT number, bytes FROM page WHERE number BETWEEN ? AND ? ORDER BY number"),
      readPage(database, "SELECT bytes FROM page WHERE number = ?"),
      writePage(database, "UPDATE page SET bytes = ? WHERE number = ?"),
      key(database, "SELECT key FROM object WHERE number = ?"),
      setKey(database, "UPDATE object SET key = ? WHERE number = ?"),
      password(database, "SELECT cost_n, cost_p, salt, verifier FROM password"),
      setPassword(database, "UPDATE password SET cost_n = ?, cost_p = ?, salt = ?, verifier = ?"),
      token(database, "SELECT serial, present FROM token"),
      setPresent(database, "UPDATE token SET present = ?") {}

// An image that another program holds is found here and not at the first command.
Image::Image(const std::string& path) : database_(opened(path)), statements_(database_) {
    database_.execute("PRAGMA journal_mode = TRUNCATE; PRAGMA synchronous = FULL");
    const Transaction proof(database_);
}

Image::Change::Change(Image& image) : guard_(image.mutex_), transaction_(image.database_) {}

void Image::Change::commit(const Fence& fence) {
    if (!fence()) {
        throw Fault("the change was overtaken");
    }
    transaction_.commit();
}

bool Image::exists(std::int64_t number) {
    const std::lock_guard guard(mutex_);
    Query query(statements_.exists);
    return number == rootObject.number || query.bind(number).step();
}

std::optional<Object> Image::child(std::int64_t parent, std::uint16_t id) {
    const std::lock_guard guard(mutex_);
    Query query(statements_.child);
    if (!query.bind(parent).bind(std::int64_t{id}).step()) {
        return std::nullopt;
    }
    Object object;
    object.number = query.integer(0, 1, INT64_MAX / pagesAnObject - 1);
    object.id = id;
    object.size = static_cast<std::uint16_t>(query.integer(1, 0, 0xFFFF));
    object.type = static_cast<std::uint8_t>(query.integer(2, typeFile, typeKey));
    const bool isKey = object.type == typeKey;
    object.attribute =
        static_cast<std::uint8_t>(query.integer(3, isKey ? attributeOneFactor : attributePublic,
                                                isKey ? attributeTwoFactor : attributePrivate));
    return object;
}

std::vector<std::uint16_t> Image::children(std::int64_t parent, std::uint32_t limit) {
    const std::lock_guard guard(mutex_);
    std::vector<std::uint16_t> ids;
    Query query(statements_.children);
    query.bind(parent).bind(std::int64_t{limit});
    while (query.step()) {
        ids.push_back(static_cast<std::uint16_t>(query.integer(0, 0, 0xFFFF)));
    }
    return ids;
}

std::uint32_t Image::childCount(std::int64_t parent) {
    const std::lock_guard guard(mutex_);
    Query query(statements_.childCount);
    query.bind(parent).step();
    return static_cast<std::uint32_t>(query.integer(0, 0, UINT32_MAX));
}

Image::Usage Image::usage() {
    const std::lock_guard guard(mutex_);
    Query query(statements_.usage);
    query.step();
    return {static_cast<std::uint32_t>(query.integer(0, 0, UINT32_MAX)),
            static_cast<std::uint32_t>(query.integer(1, 0, UINT32_MAX))};
}

void Image::create(std::int64_t parent, const Object& object) {
    const std::lock_guard guard(mutex_);
    Query(statements_.create)
        .bind(parent)
        .bind(std::int64_t{object.id})
        .bind(std::int64_t{object.type})
        .bind(std::int64_t{object.attribute})
        .bind(std::int64_t{object.size})
        .run();
    if (object.type == typeFile) {
        Object file = object;
        file.number = sqlite3_last_insert_rowid(database_.handle());
        for (std::int64_t page = 0; page * pageLength < file.size; ++page) {
            Query(statements_.createPage)
                .bind(firstPage(file) + page)
                .bind(pageBytes(file, page))
                .run();
        }
    }
}

void Image::remove(const Object& object) {
    const std::lock_guard guard(mutex_);
    Query(statements_.removePages)
        .bind(firstPage(object))
        .bind(firstPage(object) + pagesAnObject - 1)
        .run();
    Query(statements_.remove).bind(object.number).run();
    if (sqlite3_changes(database_.handle()) != 1) {
        missing();
    }
}

void Image::read(const Object& file, std::uint16_t offset, std::uint16_t length, Buffer& out) {
    if (length == 0) {
        return;
    }
    const std::lock_guard guard(mutex_);
    const std::int64_t end = std::int64_t{offset} + length;
    std::int64_t page = offset / pageLength;
    Query query(statements_.readPages);
    query.bind(firstPage(file) + page).bind(firstPage(file) + (end - 1) / pageLength);
    for (std::int64_t at = offset; at < end; ++page) {
        if (!query.step() || query.integer(0) != firstPage(file) + page) {
            missing();
        }
        const Bytes bytes = wholePage(query, 1, file, page);
        const std::int64_t until = std::min(end, (page + 1) * pageLength);
        const Bytes wanted = bytes.subspan(static_cast<std::size_t>(at % pageLength),
                                           static_cast<std::size_t>(until - at));
        out.insert(out.end(), wanted.begin(), wanted.end());
        at = until;
    }
}

void Image::write(const Object& file, std::uint16_t offset, Bytes bytes) {
    if (bytes.empty()) {
        return;
    }
    const std::lock_guard guard(mutex_);
    std::int64_t at = offset;
    while (!bytes.empty()) {
        const std::int64_t page = at / pageLength;
        const auto chunk =
            std::min(bytes.size(), static_cast<std::size_t>((page + 1) * pageLength - at));
        writePage(file, page, at % pageLength, bytes.first(chunk));
        bytes = bytes.subspan(chunk);
        at += static_cast<std::int64_t>(chunk);
    }
}

void Image::writePage(const Object& file, std::int64_t page, std::int64_t at, Bytes bytes) {
    Buffer content;
    {
        Query query(statements_.readPage);
        if (!query.bind(firstPage(file) + page).step()) {
            missing();
        }
        const Bytes old = wholePage(query, 0, file, page);
        content.assign(old.begin(), old.end());
    }
    std::copy(bytes.begin(), bytes.end(), content.begin() + at);
    Query(statements_.writePage).bind(content).bind(firstPage(file) + page).run();
}

std::optional<KeyValue> Image::key(const Object& key) {
    const std::lock_guard guard(mutex_);
    Query query(statements_.key);
    if (!query.bind(key.number).step()) {
        missing();
    }
    if (query.isNull(0)) {
        return std::nullopt;
    }
    KeyValue value{};
    const Bytes bytes = query.bytes(0);
    if (bytes.size() != value.size()) {
        throw Fault("a key is damaged");
    }
    std::copy(bytes.begin(), bytes.end(), value.begin());
    return value;
}

void Image::setKey(const Object& key, Bytes value) {
    const std::lock_guard guard(mutex_);
    Query(statements_.setKey).bind(value).bind(key.number).run();
    if (sqlite3_changes(database_.handle()) != 1) {
        missing();
    }
}

PasswordRecord Image::password() {
    const std::lock_guard guard(mutex_);
    Query query(statements_.password);
    if (!query.step()) {
        missing();
    }
    PasswordRecord record;
    record.costN = static_cast<std::uint32_t>(query.integer(0, 0, UINT32_MAX));
    record.costP = static_cast<std::uint32_t>(query.integer(1, 0, UINT32_MAX));
    const Bytes salt = query.bytes(2);
    record.salt.assign(salt.begin(), salt.end());
    const Bytes verifier = query.bytes(3);
    record.verifier.assign(verifier.begin(), verifier.end());
    return record;
}

void Image::setPassword(const PasswordRecord& record) {
    const std::lock_guard guard(mutex_);
    Query(statements_.setPassword)
        .bind(std::int64_t{record.costN})
        .bind(std::int64_t{record.costP})
        .bind(record.salt)
        .bind(record.verifier)
        .run();
    if (sqlite3_changes(database_.handle()) != 1) {
        missing();
    }
}

Buffer Image::serial() {
    const std::lock_guard guard(mutex_);
    Query query(statements_.token);
    if (!query.step()) {
        missing();
    }
    const Bytes bytes = query.bytes(0);
    return {bytes.begin(), bytes.end()};
}

bool Image::present() {
    const std::lock_guard guard(mutex_);
    Query query(statements_.token);
    if (!query.step()) {
        missing();
    }
    return query.integer(1, 0, 1) == 1;
}

void Image::setPresent(bool present) {
    const std::lock_guard guard(mutex_);
    Query(statements_.setPresent).bind(std::int64_t{present}).run();
    if (sqlite3_changes(database_.handle()) != 1) {
        missing();
    }
}

}  // namespace token
