#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "token/image/sql.h"

namespace token {

// An object as its row in the image says, be that possible or not.
struct Row {
    std::int64_t number, parent, id, type, attribute, size;
};

// The objects of an image as they hang together, for those who look at all of them. In damaged
// images they may hang together anyhow.
class Tree {
  public:
    enum class Top { root, missing, none };  // none: too deep, or in a circle

    struct Way {
        std::string
            path;  // in the shell's digits; "????" stands for what does not lead to the root
        Top top;
    };

    explicit Tree(Database& database);

    const std::map<std::int64_t, Row>& rows() const { return rows_; }  // in order of creation
    const Row* find(std::int64_t number) const;
    std::size_t childCount(std::int64_t parent) const;
    Way wayTo(const Row& row) const;
    // All that lead to the root, each directory before its children.
    std::vector<Row> inOrder() const;

  private:
    std::map<std::int64_t, Row> rows_;
    std::unordered_map<std::int64_t, std::vector<std::int64_t>> children_;  // by their parent
};

}  // namespace token
