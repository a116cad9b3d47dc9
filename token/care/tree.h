#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "token/image/sql.h"

namespace token {

// An object as its row in the image says. In a damaged image the values can be any.
struct ObjectRow {
    std::int64_t number, parent, id, type, attribute, size;
};

// All objects of an image, by their directories. In a damaged image a directory may be missing or
// stand under itself.
class Tree {
  public:
    // Where the directories above an object end. `never`: it is too deep, or they form a circle.
    enum class PathEnd { root, missing, never };

    struct ObjectPath {
        std::string text;  // in the shell's digits; "????" stands for a missing way to the root
        PathEnd end;
    };

    explicit Tree(Database& database);

    const std::map<std::int64_t, ObjectRow>& rows() const { return rows_; }  // in order of creation
    const ObjectRow* find(std::int64_t number) const;
    std::size_t childCount(std::int64_t parent) const;
    ObjectPath pathOf(const ObjectRow& row) const;
    // All that lead to the root, each directory before its children.
    std::vector<ObjectRow> inOrder() const;

  private:
    std::map<std::int64_t, ObjectRow> rows_;
    std::unordered_map<std::int64_t, std::vector<std::int64_t>> children_;  // by their parent
};

}  // namespace token
