#include "token/care/check.h"

#include <algorithm>
#include <bitset>
#include <map>
#include <optional>

#include "token/base/fault.h"
#include "token/base/system.h"
#include "token/care/image_copy.h"
#include "token/care/tree.h"
#include "token/image/image_format.h"
#include "token/image/image_header.h"
#include "token/image/limits.h"
#include "token/image/object.h"
#include "token/image/password.h"
#include "token/image/sealed_place.h"
#include "token/image/sealer.h"

namespace token {
namespace {

bool isBetween(std::int64_t value, std::int64_t least, std::int64_t most) {
    return least <= value && value <= most;
}

struct ObjectRule {
    bool (*holds)(const ObjectRow& row);
    const char* otherwise;
};

constexpr ObjectRule objectRules[] = {
    {[](const ObjectRow& row) { return isBetween(row.number, 1, largestObjectNumber); },
     "its number is out of range"},
    {[](const ObjectRow& row) { return canBeGiven(row.id); }, "its id is none that can be given"},
    {[](const ObjectRow& row) { return isType(row.type); }, "its type is unknown"},
    {[](const ObjectRow& row) { return isAttributeOf(row.type, row.attribute); },
     "its attribute is none of its type"},
    {[](const ObjectRow& row) { return isSizeOf(row.type, row.size); },
     "its size is none of its type"},
};

// 0, which no record has, for what no record can have.
std::uint32_t costOf(std::int64_t value) {
    return isBetween(value, 0, UINT32_MAX) ? static_cast<std::uint32_t>(value) : 0;
}

// 0 for an object without pages.
std::int64_t pageCount(const ObjectRow& row) {
    return row.type == typeFile && isSizeOf(row.type, row.size) ? pageCountOf(row.size) : 0;
}

class Check {
  public:
    Check(Database& database, const SecretKey* secret) : database_(database) {
        if (secret != nullptr) {
            sealer_.emplace(*secret);
        }
    }

    Findings run();

  private:
    using Step = void (Check::*)();

    void perform(Step step);
    void database();
    void tokenRow();
    void password();
    void readTree() { tree_.emplace(database_); }
    void numbers();
    void objects();
    void checkPlace(const ObjectRow& row);
    void limits();
    void keys();
    void pages();
    void page(std::int64_t number, Bytes bytes);
    void missingPages();

    void content(const std::string& name, const ObjectRow& row, const Buffer& place, Bytes bytes,
                 std::int64_t length);
    void problem(const std::string& name, const std::string& words) {
        findings_.problems.push_back(name + ": " + words);
    }
    std::string nameOf(const ObjectRow& row) const { return tree_->pathOf(row).text; }

    Database& database_;
    std::optional<Sealer> sealer_;
    Buffer serial_;
    std::optional<Tree> tree_;
    std::map<std::int64_t, std::bitset<pagesAnObject>> pagesSeen_;  // by their file's number
    Findings findings_;
};

Findings Check::run() {
    static constexpr Step first[] = {&Check::database, &Check::tokenRow, &Check::password,
                                     &Check::numbers, &Check::readTree};
    static constexpr Step onTheTree[] = {&Check::objects, &Check::limits, &Check::keys,
                                         &Check::pages};
    for (const Step step : first) {
        perform(step);
    }
    for (const Step step : onTheTree) {
        if (tree_) {
            perform(step);
        }
    }
    return std::move(findings_);
}

// A step that cannot read does not keep the next one from looking.
void Check::perform(Step step) {
    try {
        (this->*step)();
    } catch (const Fault& fault) {
        problem("database", fault.what());
    }
}

void Check::database() {
    Statement statement(database_, "PRAGMA integrity_check");
    Query query(statement);
    while (query.step()) {
        const std::string line = query.text(0);
        if (line != "ok") {
            problem("database", line);
        }
    }
}

void Check::tokenRow() {
    Statement statement(database_, "SELECT serial, present FROM token");
    Query query(statement);
    if (!query.step()) {
        problem("token", "its row is missing");
        return;
    }
    serial_ = query.buffer(0);
    if (serial_.size() != serialLength) {
        problem("token", "its serial number has a wrong length");
    }
    if (!isBetween(query.integer(1), 0, 1)) {
        problem("token", "it is neither in its reader nor out of it");
    }
}

void Check::password() {
    Statement statement(database_,
                        "SELECT cost_n, cost_p, salt, wrapped_key, failures FROM password");
    Query query(statement);
    if (!query.step()) {
        problem("password", "its row is missing");
        return;
    }
    const PasswordRecord record{
        costOf(query.integer(0)), costOf(query.integer(1)), query.buffer(2), {}, 0};
    if (!hasKnownForm(record)) {
        problem("password", "its cost or salt is none that can be");
    }
    if (query.bytes(3).size() != std::tuple_size_v<SecretKey> + Sealer::added) {
        problem("password", "the key under it has a wrong length");
    }
    if (!isBetween(query.integer(4), 0, mostFailures)) {
        problem("password", "its count of failed logins is out of range");
    }
}

// The last number that was given counts on: the next object gets the next.
void Check::numbers() {
    Statement statement(database_, "SELECT seq FROM sqlite_sequence");
    Query query(statement);
    while (query.step()) {
        if (!isBetween(query.integer(0), 0, largestObjectNumber - 1)) {
            problem("database", "its next object's number is out of range");
        }
    }
}

void Check::objects() {
    for (const auto& [number, row] : tree_->rows()) {
        for (const ObjectRule& rule : objectRules) {
            if (!rule.holds(row)) {
                problem(nameOf(row), rule.otherwise);
            }
        }
        checkPlace(row);
    }
}

void Check::checkPlace(const ObjectRow& row) {
    const ObjectRow* directory = tree_->find(row.parent);
    const Tree::ObjectPath path = tree_->pathOf(row);
    if (row.parent != rootObject.number && directory == nullptr) {
        problem(path.text, "its directory is missing");
    } else if (row.parent != rootObject.number && directory->type != typeDirectory) {
        problem(path.text, "it stands in what is no directory");
    } else if (path.end == Tree::PathEnd::never) {
        problem(path.text, "it is too deep, or its directories form a circle");
    }
}

void Check::limits() {
    std::int64_t bytes = 0;
    const auto tooMany = [this](const std::string& name, std::int64_t parent) {
        if (tree_->childCount(parent) > mostChildren) {
            problem(name, "it has more than " + std::to_string(mostChildren) + " children");
        }
    };
    tooMany("3f00", rootObject.number);
    for (const auto& [number, row] : tree_->rows()) {
        tooMany(nameOf(row), number);
        bytes += isBetween(row.size, 0, 0xFFFF) ? row.size : 0;
    }
    if (tree_->rows().size() > mostObjects) {
        problem("3f00", "more than " + std::to_string(mostObjects) + " objects are under it");
    }
    if (bytes > mostBytes) {
        problem("3f00", "more than " + std::to_string(mostBytes) + " bytes are under it");
    }
}

void Check::content(const std::string& name, const ObjectRow& row, const Buffer& place, Bytes bytes,
                    std::int64_t length) {
    const bool sealed = needsLogin(row.attribute);
    const auto added = static_cast<std::int64_t>(sealed ? Sealer::added : 0);
    if (static_cast<std::int64_t>(bytes.size()) != length + added) {
        problem(name, "a wrong length");
    } else if (sealed && !sealer_) {
        findings_.leftSealed = true;
    } else if (sealed) {
        std::optional<Buffer> plain = sealer_->unseal(place, bytes);
        if (!plain) {
            problem(name, "does not authenticate");
            return;
        }
        wipe(*plain);
    }
}

Object objectOf(const ObjectRow& row) {
    return {row.number, static_cast<std::uint16_t>(row.id), static_cast<std::uint16_t>(row.size),
            static_cast<std::uint8_t>(row.type), static_cast<std::uint8_t>(row.attribute)};
}

void Check::keys() {
    Statement statement(database_, "SELECT number, key FROM object WHERE key IS NOT NULL");
    Query query(statement);
    while (query.step()) {
        const ObjectRow* row = tree_->find(query.integer(0));
        if (row == nullptr) {
            continue;
        }
        if (row->type != typeKey) {
            problem(nameOf(*row), "it has a value and is no key");
        } else {
            content(nameOf(*row) + ", value", *row, placeOfKey(serial_, objectOf(*row)),
                    query.bytes(1), std::tuple_size_v<KeyValue>);
        }
    }
}

void Check::pages() {
    Statement statement(database_, "SELECT number, bytes FROM page ORDER BY number");
    Query query(statement);
    while (query.step()) {
        page(query.integer(0), query.bytes(1));
    }
    missingPages();
}

void Check::page(std::int64_t number, Bytes bytes) {
    const ObjectRow* file = number < 0 ? nullptr : tree_->find(number / pagesAnObject);
    const std::int64_t index = number % pagesAnObject;
    if (file == nullptr || index >= pageCount(*file)) {
        const std::string words = "page " + std::to_string(number) + " belongs to nothing";
        problem(file == nullptr ? "????" : nameOf(*file), words);
        return;
    }
    pagesSeen_[file->number].set(static_cast<std::size_t>(index));
    content(nameOf(*file) + ", page " + std::to_string(index), *file,
            placeOfPage(serial_, objectOf(*file), index), bytes, pageBytesOf(file->size, index));
}

void Check::missingPages() {
    for (const auto& [number, row] : tree_->rows()) {
        for (std::int64_t index = 0; index < pageCount(row); ++index) {
            if (!pagesSeen_[number].test(static_cast<std::size_t>(index))) {
                problem(nameOf(row) + ", page " + std::to_string(index), "missing");
            }
        }
    }
}

}  // namespace

Findings check(Database& copy, const SecretKey* secret) {
    return Check(copy, secret).run();
}

Findings check(const std::string& path, const SecretKey* secret) {
    FileFacts facts;
    const int error = system().look(path, Links::follow, facts);
    const bool isThere = error == 0 && facts.kind != FileFacts::Kind::nothing;
    if (isThere) {
        needSuccess(system().checkReadable(path), "cannot read", path);
    }
    try {
        needImage(path);
    } catch (const Fault& fault) {
        if (!isThere) {
            throw;
        }
        return {{std::string("file: ") + fault.what()}, false};
    }
    try {
        ImageCopy copy = copyImage(path);
        return check(copy.database, secret);
    } catch (const Damage& damage) {
        return {{std::string("database: ") + damage.what()}, false};
    }
}

}  // namespace token
