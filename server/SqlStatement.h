// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <cstdint>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

// A prepared statement borrowed from the Database's cache; it is reset and
// its bindings cleared when this object goes away. Failures throw
// DatabaseError with SQLite's own message.
class SqlStatement {
public:
    SqlStatement(sqlite3* db, sqlite3_stmt* statement);
    ~SqlStatement();
    SqlStatement(SqlStatement&& other) noexcept;
    SqlStatement(const SqlStatement&) = delete;
    SqlStatement& operator=(const SqlStatement&) = delete;
    SqlStatement& operator=(SqlStatement&&) = delete;

    SqlStatement& bind(int index, std::int64_t value);
    SqlStatement& bind(int index, int value) { return bind(index, static_cast<std::int64_t>(value)); }
    SqlStatement& bind(int index, bool value) { return bind(index, static_cast<std::int64_t>(value ? 1 : 0)); }
    SqlStatement& bind(int index, const std::string& value);
    SqlStatement& bind(int index, const char* value) { return bind(index, std::string(value)); }
    SqlStatement& bindBlob(int index, const std::string& bytes);
    SqlStatement& bindNull(int index);

    // Binds the arguments to parameters 1..n in order.
    template <typename... Args>
    SqlStatement& bindAll(const Args&... args)
    {
        int index = 1;
        (bind(index++, args), ...);
        return *this;
    }

    // True while a row is available.
    bool step();
    // Runs a statement that returns no rows.
    void run();

    std::int64_t columnInt(int column) const;
    bool columnBool(int column) const { return columnInt(column) != 0; }
    std::string columnText(int column) const;
    bool columnIsNull(int column) const;

private:
    sqlite3* m_db;
    sqlite3_stmt* m_statement;
};
