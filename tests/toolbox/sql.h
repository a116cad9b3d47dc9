#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

// Works on an image behind its token's back. Gives the last row's first value.
inline std::string sql(const std::string& path, const std::string& statements) {
    sqlite3* database = nullptr;
    std::string value;
    const auto keep = [](void* to, int, char** row, char**) {
        static_cast<std::string*>(to)->assign(row[0]);
        return 0;
    };
    sqlite3_open(path.c_str(), &database);
    sqlite3_exec(database, statements.c_str(), keep, &value, nullptr);
    EXPECT_STREQ(sqlite3_errmsg(database), "not an error") << statements;
    sqlite3_close(database);
    return value;
}
