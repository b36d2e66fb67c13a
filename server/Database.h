// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "SqlStatement.h"

#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

class DatabaseError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The SQLite connection of the metadata. One connection shared by all worker
// threads: every use happens inside a Transaction, which holds the
// connection's mutex, so writes are serialised and each logical change is
// one SQLite transaction (a crash leaves either all of it or none).
class Database {
public:
    class Transaction {
    public:
        Transaction(Database& db, bool write);
        ~Transaction();
        Transaction(Transaction&&) = delete;
        Transaction(const Transaction&) = delete;
        Transaction& operator=(const Transaction&) = delete;

        // Commits; the connection stays locked until this object is
        // destroyed, so follow-up work (removing unreferenced blobs) sees
        // the committed state without interference.
        void commit();

    private:
        Database& m_db;
        std::unique_lock<std::mutex> m_lock;
        bool m_open = true;
    };

    // Opens (creating if needed) the database file and its schema.
    explicit Database(const std::string& path);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    // Statements are cached per SQL text; only valid inside a Transaction.
    SqlStatement prepare(const std::string& sql);
    void exec(const std::string& sql);

    // Next value of a named counter kept in the database (for ids).
    std::int64_t nextCounter(const std::string& name);

    std::string metaValue(const std::string& key);
    void setMetaValue(const std::string& key, const std::string& value);

private:
    void createSchema();

    sqlite3* m_db = nullptr;
    std::mutex m_mutex;
    std::map<std::string, sqlite3_stmt*> m_statements;
};
