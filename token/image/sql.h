#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>

#include "token/base/bytes.h"

namespace token {

// A connection to an SQLite database. Every failure of it, of a statement or of a query is a Fault;
// it is Damage where the content is to blame. One thread at a time.
class Database {
  public:
    // One that is in memory, and empty.
    Database();
    // The image of that path; `flags` as sqlite3_open_v2 takes them.
    Database(const std::string& path, int flags);

    void execute(const char* sql);
    sqlite3* handle() const { return handle_.get(); }
    [[noreturn]] void fail() const;

  private:
    void open(const char* name, int flags, const char* files);
    std::string words(const char* path) const;

    struct Closer {
        void operator()(sqlite3* handle) const { sqlite3_close(handle); }
    };
    std::unique_ptr<sqlite3, Closer> handle_;
};

// A prepared statement, kept for many queries.
class Statement {
  public:
    Statement(Database& database, const char* sql);

    Database& database() const { return database_; }
    sqlite3_stmt* handle() const { return handle_.get(); }

  private:
    struct Finalizer {
        void operator()(sqlite3_stmt* handle) const { sqlite3_finalize(handle); }
    };
    Database& database_;
    std::unique_ptr<sqlite3_stmt, Finalizer> handle_;
};

// One run of a statement, which it leaves ready for the next. Bound bytes have to outlive it. The
// bytes of a column are the database's, and good until the next step.
class Query {
  public:
    explicit Query(Statement& statement) : statement_(statement) {}
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;
    ~Query();

    Query& bind(std::int64_t value);
    Query& bind(Bytes value);

    // True while there is a row.
    bool step();
    // For a statement that gives no rows.
    void run();

    std::int64_t integer(int column) const;
    // Damage unless least <= value <= most.
    std::int64_t integer(int column, std::int64_t least, std::int64_t most) const;
    bool isNull(int column) const;
    Bytes bytes(int column) const;
    Buffer buffer(int column) const;  // the same bytes, copied
    std::string text(int column) const;

  private:
    Statement& statement_;
    int bound_ = 0;
};

// A write transaction, rolled back unless it was committed.
class Transaction {
  public:
    explicit Transaction(Database& database);
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();

    void commit();

  private:
    Database& database_;
    bool open_ = true;
};

}  // namespace token
