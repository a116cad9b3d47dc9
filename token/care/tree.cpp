#include "token/care/tree.h"

#include <algorithm>
#include <cstdio>

#include "token/image/limits.h"
#include "token/image/object.h"

namespace token {
namespace {

std::string digitsOf(std::int64_t id) {
    char digits[17];
    std::snprintf(digits, sizeof digits, "%04llx", static_cast<unsigned long long>(id));
    return digits;
}

}  // namespace

Tree::Tree(Database& database) {
    Statement statement(
        database, "SELECT number, parent, id, type, attribute, size FROM object ORDER BY number");
    Query query(statement);
    while (query.step()) {
        const ObjectRow row{query.integer(0), query.integer(1), query.integer(2),
                            query.integer(3), query.integer(4), query.integer(5)};
        const bool isNew = rows_.emplace(row.number, row).second;
        // The root has no row, and a row that poses as it has no parent.
        if (isNew && row.number != rootObject.number) {
            children_[row.parent].push_back(row.number);
        }
    }
}

const ObjectRow* Tree::find(std::int64_t number) const {
    const auto found = rows_.find(number);
    return found == rows_.end() ? nullptr : &found->second;
}

std::size_t Tree::childCount(std::int64_t parent) const {
    const auto found = children_.find(parent);
    return found == children_.end() ? 0 : found->second.size();
}

Tree::ObjectPath Tree::pathOf(const ObjectRow& row) const {
    std::vector<std::int64_t> ids{row.id};
    std::int64_t above = row.parent;
    PathEnd end = PathEnd::root;
    while (above != rootObject.number && end == PathEnd::root) {
        const ObjectRow* directory = find(above);
        if (directory == nullptr) {
            end = PathEnd::missing;
        } else if (ids.size() + 1 >= deepestLevel) {
            end = PathEnd::never;
        } else {
            ids.push_back(directory->id);
            above = directory->parent;
        }
    }
    std::string path = end == PathEnd::root ? digitsOf(rootId) : "????";
    std::for_each(ids.rbegin(), ids.rend(), [&](std::int64_t id) { path += digitsOf(id); });
    return {path, end};
}

std::vector<ObjectRow> Tree::inOrder() const {
    std::vector<ObjectRow> rows;
    std::vector<std::int64_t> ahead{rootObject.number};
    while (!ahead.empty()) {
        const std::int64_t number = ahead.back();
        ahead.pop_back();
        if (number != rootObject.number) {
            rows.push_back(*find(number));
        }
        if (const auto below = children_.find(number); below != children_.end()) {
            ahead.insert(ahead.end(), below->second.rbegin(), below->second.rend());
        }
    }
    return rows;
}

}  // namespace token
