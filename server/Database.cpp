// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "Database.h"

#include "Log.h"

#include <sqlite3.h>

namespace {
constexpr int BusyTimeoutMs = 5000;
constexpr int SchemaVersion = 1;

const char* const Schema = R"sql(
CREATE TABLE IF NOT EXISTS meta(key TEXT PRIMARY KEY, value TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS users(
  seq INTEGER PRIMARY KEY AUTOINCREMENT,
  id TEXT NOT NULL UNIQUE,
  account TEXT NOT NULL UNIQUE,
  password_salt TEXT NOT NULL,
  password_hash TEXT NOT NULL,
  password_iterations INTEGER NOT NULL,
  display_name TEXT NOT NULL,
  full_name TEXT NOT NULL,
  email TEXT NOT NULL,
  avatar BLOB,
  avatar_type TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS tokens(
  token_hash TEXT PRIMARY KEY,
  user_id TEXT NOT NULL,
  expires_at INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS workspaces(
  seq INTEGER PRIMARY KEY AUTOINCREMENT,
  id TEXT NOT NULL UNIQUE,
  name TEXT NOT NULL,
  is_default INTEGER NOT NULL,
  root_id TEXT NOT NULL,
  create_time INTEGER NOT NULL,
  quota_bytes INTEGER NOT NULL,
  logo BLOB,
  logo_type TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS members(
  seq INTEGER PRIMARY KEY AUTOINCREMENT,
  workspace_id TEXT NOT NULL,
  user_id TEXT NOT NULL,
  role TEXT NOT NULL,
  max_privilege INTEGER NOT NULL,
  UNIQUE(workspace_id, user_id));
CREATE TABLE IF NOT EXISTS nodes(
  id TEXT PRIMARY KEY,
  workspace_id TEXT NOT NULL,
  parent_id TEXT NOT NULL,
  name TEXT NOT NULL,
  is_folder INTEGER NOT NULL,
  size INTEGER NOT NULL,
  digest TEXT NOT NULL,
  revision INTEGER NOT NULL,
  create_time INTEGER NOT NULL,
  update_time INTEGER NOT NULL,
  thumbnail BLOB,
  UNIQUE(workspace_id, parent_id, name));
CREATE INDEX IF NOT EXISTS nodes_by_digest ON nodes(digest);
CREATE TABLE IF NOT EXISTS attributes(
  node_id TEXT NOT NULL,
  key TEXT NOT NULL,
  value TEXT NOT NULL,
  PRIMARY KEY(node_id, key));
CREATE TABLE IF NOT EXISTS favorites(
  seq INTEGER PRIMARY KEY AUTOINCREMENT,
  user_id TEXT NOT NULL,
  workspace_id TEXT NOT NULL,
  node_id TEXT NOT NULL,
  UNIQUE(user_id, node_id));
CREATE TABLE IF NOT EXISTS share_links(
  seq INTEGER PRIMARY KEY AUTOINCREMENT,
  id TEXT NOT NULL UNIQUE,
  token TEXT NOT NULL UNIQUE,
  workspace_id TEXT NOT NULL,
  creator_id TEXT NOT NULL,
  file_ids TEXT NOT NULL,
  encrypt INTEGER NOT NULL,
  password TEXT NOT NULL,
  expire_time INTEGER NOT NULL,
  preview INTEGER NOT NULL,
  download INTEGER NOT NULL,
  create_time INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS uploads(
  id TEXT PRIMARY KEY,
  workspace_id TEXT NOT NULL,
  path TEXT NOT NULL,
  size INTEGER NOT NULL,
  create_time INTEGER NOT NULL,
  update_time INTEGER NOT NULL,
  UNIQUE(workspace_id, path));
CREATE TABLE IF NOT EXISTS install_info(
  seq INTEGER PRIMARY KEY AUTOINCREMENT,
  body TEXT NOT NULL,
  received_time INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS installers(
  name TEXT PRIMARY KEY,
  digest TEXT NOT NULL,
  size INTEGER NOT NULL);
)sql";
} // namespace

Database::Transaction::Transaction(Database& db, bool write) : m_db(db), m_lock(db.m_mutex)
{
    // IMMEDIATE takes the write lock up front, so a second process on the
    // same file waits in busy_timeout instead of failing half-way.
    m_db.exec(write ? "BEGIN IMMEDIATE" : "BEGIN");
}

Database::Transaction::~Transaction()
{
    if (m_open) {
        try {
            m_db.exec("ROLLBACK");
        } catch (const DatabaseError& e) {
            Log::error(std::string("rollback failed: ") + e.what());
        }
    }
}

void Database::Transaction::commit()
{
    m_db.exec("COMMIT");
    m_open = false;
}

Database::Database(const std::string& path)
{
    const int rc = sqlite3_open_v2(path.c_str(), &m_db,
                                   SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX, nullptr);
    if (rc != SQLITE_OK) {
        const std::string message = m_db ? sqlite3_errmsg(m_db) : sqlite3_errstr(rc);
        sqlite3_close(m_db);
        m_db = nullptr;
        throw DatabaseError("cannot open " + path + ": " + message);
    }
    sqlite3_busy_timeout(m_db, BusyTimeoutMs);
    exec("PRAGMA journal_mode=WAL");
    exec("PRAGMA synchronous=NORMAL");
    exec("PRAGMA foreign_keys=OFF");
    createSchema();
}

Database::~Database()
{
    for (auto& entry : m_statements) {
        sqlite3_finalize(entry.second);
    }
    if (m_db) {
        sqlite3_close(m_db);
    }
}

SqlStatement Database::prepare(const std::string& sql)
{
    auto it = m_statements.find(sql);
    if (it == m_statements.end()) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v3(m_db, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK) {
            throw DatabaseError(std::string(sqlite3_errmsg(m_db)) + " in: " + sql);
        }
        it = m_statements.emplace(sql, statement).first;
    }
    return SqlStatement(m_db, it->second);
}

void Database::exec(const std::string& sql)
{
    char* error = nullptr;
    if (sqlite3_exec(m_db, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
        const std::string message = error ? error : "unknown error";
        sqlite3_free(error);
        throw DatabaseError(message);
    }
}

std::int64_t Database::nextCounter(const std::string& name)
{
    const std::string key = "counter." + name;
    const std::string current = metaValue(key);
    const std::int64_t next = (current.empty() ? 0 : std::stoll(current)) + 1;
    setMetaValue(key, std::to_string(next));
    return next;
}

std::string Database::metaValue(const std::string& key)
{
    auto statement = prepare("SELECT value FROM meta WHERE key = ?");
    statement.bindAll(key);
    return statement.step() ? statement.columnText(0) : std::string();
}

void Database::setMetaValue(const std::string& key, const std::string& value)
{
    prepare("INSERT INTO meta(key, value) VALUES(?, ?) ON CONFLICT(key) DO UPDATE SET value = excluded.value")
            .bindAll(key, value)
            .run();
}

void Database::createSchema()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    exec("BEGIN IMMEDIATE");
    try {
        exec(Schema);
        exec("PRAGMA user_version=" + std::to_string(SchemaVersion));
        exec("COMMIT");
    } catch (...) {
        exec("ROLLBACK");
        throw;
    }
}
