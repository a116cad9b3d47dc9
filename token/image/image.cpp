#include "token/image/image.h"

#include <algorithm>
#include <utility>

#include "token/base/fault.h"
#include "token/image/image_format.h"
#include "token/image/limits.h"
#include "token/image/open_image.h"

namespace token {
namespace {

Buffer serialOf(Database& database) {
    Statement statement(database, "SELECT serial FROM token");
    Query query(statement);
    if (!query.step() || query.bytes(0).size() != serialLength) {
        throw Fault("the image's serial number is damaged");
    }
    return query.buffer(0);
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
      createPage(database, "INSERT INTO page VALUES (?, ?)"),
      remove(database, "DELETE FROM object WHERE number = ?"),
      removePages(database, "DELETE FROM page WHERE number BETWEEN ? AND ?"),
      readPages(database,
                "SELECT number, bytes FROM page WHERE number BETWEEN ? AND ? ORDER BY number"),
      readPage(database, "SELECT bytes FROM page WHERE number = ?"),
      writePage(database, "UPDATE page SET bytes = ? WHERE number = ?"),
      key(database, "SELECT key FROM object WHERE number = ?"),
      setKey(database, "UPDATE object SET key = ? WHERE number = ?"),
      present(database, "SELECT present FROM token"),
      setPresent(database, "UPDATE token SET present = ?") {}

// An image that cannot be written is found here and not at the first command.
Image::Image(const std::string& path)
    : database_(openImage(path)), serial_(serialOf(database_)), statements_(database_) {
    const Transaction proof(database_);
}

// The database does it with its last connection, but for two that close at once.
Image::~Image() {
    tryToEmptyLog(database_);
}

void Image::forgetOverwritten() {
    const std::unique_lock guard(mutex_, std::try_to_lock);
    if (guard.owns_lock()) {
        tryToEmptyLog(database_);
    }
}

Image::Change::Change(Image& image)
    : image_(image), guard_(image.mutex_), transaction_(image.database_) {}

void Image::Change::commit(const Fence& fence) {
    if (!fence()) {
        throw Fault("the change was overtaken");
    }
    transaction_.commit();
    if (image_.holdsOld_) {
        emptyLog(image_.database_);
        image_.holdsOld_ = false;
    }
}

// Runs a statement that has to give a row.
void Image::needRow(Query& query) const {
    if (!query.step()) {
        throw Fault("a row of the image is missing");
    }
}

// Runs a statement that has to change one row.
void Image::changeRow(Query& query) {
    query.run();
    if (sqlite3_changes(database_.handle()) != 1) {
        throw Fault("a row of the image is missing");
    }
}

bool Image::exists(std::int64_t number) {
    const std::lock_guard guard(mutex_);
    Query query(statements_.exists);
    return number == rootObject.number || query.bind(number).step();
}

// The row's object, its id apart, from the columns number, size, type and attribute.
Object Image::objectIn(const Query& query) {
    Object object;
    object.number = query.integer(0, 1, largestObjectNumber);
    object.size = static_cast<std::uint16_t>(query.integer(1, 0, 0xFFFF));
    object.type = static_cast<std::uint8_t>(query.integer(2, 0, 0xFF));
    object.attribute = static_cast<std::uint8_t>(query.integer(3, 0, 0xFF));
    if (!isType(object.type) || !isAttributeOf(object.type, object.attribute)) {
        throw Fault("a row of the image is damaged");
    }
    return object;
}

std::optional<Object> Image::child(std::int64_t parent, std::uint16_t id) {
    const std::lock_guard guard(mutex_);
    Query query(statements_.child);
    if (!query.bind(parent).bind(std::int64_t{id}).step()) {
        return std::nullopt;
    }
    Object object = objectIn(query);
    object.id = id;
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

void Image::create(std::int64_t parent, const Object& object, const SecretKey* secret) {
    const std::lock_guard guard(mutex_);
    Query(statements_.create)
        .bind(parent)
        .bind(std::int64_t{object.id})
        .bind(std::int64_t{object.type})
        .bind(std::int64_t{object.attribute})
        .bind(std::int64_t{object.size})
        .run();
    const std::int64_t number = sqlite3_last_insert_rowid(database_.handle());
    if (number < 1 || number > largestObjectNumber) {
        throw Fault("the image has no more numbers for objects");
    }
    if (object.type == typeFile) {
        Object file = object;
        file.number = number;
        createPages(file, secret);
    }
}

void Image::remove(const Object& object) {
    const std::lock_guard guard(mutex_);
    holdsOld_ = true;
    removePages(object);
    changeRow(Query(statements_.remove).bind(object.number));
}

// The statements on the password are rare, and prepared anew for each use.
PasswordRecord Image::password() {
    const std::lock_guard guard(mutex_);
    Statement statement(database_,
                        "SELECT cost_n, cost_p, salt, wrapped_key, failures FROM password");
    Query query(statement);
    needRow(query);
    PasswordRecord record;
    record.costN = static_cast<std::uint32_t>(query.integer(0, 0, UINT32_MAX));
    record.costP = static_cast<std::uint32_t>(query.integer(1, 0, UINT32_MAX));
    record.salt = query.buffer(2);
    record.wrappedKey = query.buffer(3);
    record.failures = static_cast<std::uint32_t>(query.integer(4, 0, UINT32_MAX));
    return record;
}

void Image::setPassword(const PasswordRecord& record) {
    const std::lock_guard guard(mutex_);
    holdsOld_ = true;
    Statement statement(database_,
                        "UPDATE password SET cost_n = ?, cost_p = ?, salt = ?, wrapped_key = ?, "
                        "failures = ?");
    changeRow(Query(statement)
                  .bind(std::int64_t{record.costN})
                  .bind(std::int64_t{record.costP})
                  .bind(record.salt)
                  .bind(record.wrappedKey)
                  .bind(std::int64_t{record.failures}));
}

bool Image::countFailedLogin() {
    const std::lock_guard guard(mutex_);
    Statement statement(database_,
                        "UPDATE password SET failures = failures + 1 WHERE failures < ?");
    Query(statement).bind(std::int64_t{mostFailures}).run();
    return sqlite3_changes(database_.handle()) == 1;
}

void Image::setFailures(std::uint32_t failures) {
    const std::lock_guard guard(mutex_);
    Statement statement(database_, "UPDATE password SET failures = ?");
    changeRow(Query(statement).bind(std::int64_t{failures}));
}

bool Image::present() {
    const std::lock_guard guard(mutex_);
    Query query(statements_.present);
    needRow(query);
    return query.integer(0, 0, 1) == 1;
}

void Image::setPresent(bool present) {
    const std::lock_guard guard(mutex_);
    holdsOld_ = true;
    changeRow(Query(statements_.setPresent).bind(std::int64_t{present}));
}

}  // namespace token
