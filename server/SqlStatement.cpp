// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "SqlStatement.h"

#include "Database.h"

#include <sqlite3.h>

SqlStatement::SqlStatement(sqlite3* db, sqlite3_stmt* statement) : m_db(db), m_statement(statement) { }

SqlStatement::~SqlStatement()
{
    if (m_statement) {
        sqlite3_reset(m_statement);
        sqlite3_clear_bindings(m_statement);
    }
}

SqlStatement::SqlStatement(SqlStatement&& other) noexcept : m_db(other.m_db), m_statement(other.m_statement)
{
    other.m_statement = nullptr;
}

SqlStatement& SqlStatement::bind(int index, std::int64_t value)
{
    if (sqlite3_bind_int64(m_statement, index, value) != SQLITE_OK) {
        throw DatabaseError(sqlite3_errmsg(m_db));
    }
    return *this;
}

SqlStatement& SqlStatement::bind(int index, const std::string& value)
{
    if (sqlite3_bind_text(m_statement, index, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT)
        != SQLITE_OK) {
        throw DatabaseError(sqlite3_errmsg(m_db));
    }
    return *this;
}

SqlStatement& SqlStatement::bindBlob(int index, const std::string& bytes)
{
    if (sqlite3_bind_blob(m_statement, index, bytes.data(), static_cast<int>(bytes.size()), SQLITE_TRANSIENT)
        != SQLITE_OK) {
        throw DatabaseError(sqlite3_errmsg(m_db));
    }
    return *this;
}

SqlStatement& SqlStatement::bindNull(int index)
{
    if (sqlite3_bind_null(m_statement, index) != SQLITE_OK) {
        throw DatabaseError(sqlite3_errmsg(m_db));
    }
    return *this;
}

bool SqlStatement::step()
{
    const int rc = sqlite3_step(m_statement);
    if (rc == SQLITE_ROW) {
        return true;
    }
    if (rc == SQLITE_DONE) {
        return false;
    }
    throw DatabaseError(sqlite3_errmsg(m_db));
}

void SqlStatement::run()
{
    while (step()) { }
}

std::int64_t SqlStatement::columnInt(int column) const
{
    return sqlite3_column_int64(m_statement, column);
}

std::string SqlStatement::columnText(int column) const
{
    // Blobs and text alike: the bytes as stored.
    const void* data = sqlite3_column_blob(m_statement, column);
    const int size = sqlite3_column_bytes(m_statement, column);
    if (!data || size <= 0) {
        return {};
    }
    return std::string(static_cast<const char*>(data), static_cast<std::size_t>(size));
}

bool SqlStatement::columnIsNull(int column) const
{
    return sqlite3_column_type(m_statement, column) == SQLITE_NULL;
}
