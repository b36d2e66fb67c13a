// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

// Internal to ZYRCommon: the SQLite connections behind the two stores.

#include <QLoggingCategory>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QStringList>

namespace Trelan::Oku::ZYRCommon {

Q_DECLARE_LOGGING_CATEGORY(lcStore)

/// Per-thread connections to a store's file. A SQLite connection may only be
/// used by the thread that opened it, so each thread opens its own on first
/// use, named after the store, the file and the thread; the connection is
/// closed and removed when that thread ends or calls release(). The stores
/// keep no QSqlDatabase between calls.
class StoreConnection {
public:
    /// Busy wait of a connection for another writer, in milliseconds.
    static constexpr int BusyTimeoutMs = 15000;
    /// Pause before trying a refused switch to WAL again, in milliseconds.
    static constexpr int JournalRetryMs = 5;

    struct Schema {
        /// Written to PRAGMA user_version once the statements ran.
        int version = 0;
        /// CREATE ... IF NOT EXISTS statements, run in one transaction when
        /// the file's user_version is below version.
        QStringList statements;
    };

    StoreConnection() = delete;

    /// Name of the calling thread's connection for \a prefix and \a path.
    static QString connectionName(const QString& prefix, const QString& path);
    /// The calling thread's open connection, opened (WAL, schema) on first
    /// use; an invalid database when the file cannot be opened (logged).
    static QSqlDatabase database(const QString& prefix, const QString& path, const Schema& schema);
    /// Closes and removes the calling thread's connection, if it has one.
    static void release(const QString& prefix, const QString& path);

    /// Prepares \a sql on \a query; logs the driver's text on failure.
    static bool prepare(QSqlQuery& query, const QString& sql, const char* what);
    /// Executes a prepared query; logs the driver's text on failure.
    static bool exec(QSqlQuery& query, const char* what);
    /// Executes \a sql on \a db; logs the driver's text on failure.
    static bool exec(const QSqlDatabase& db, const QString& sql, const char* what);

    /// Runs \a body inside one transaction. The transaction takes the write
    /// lock at once (BEGIN IMMEDIATE) so that a concurrent writer waits on
    /// the busy timeout instead of failing half-way. Rolls back and returns
    /// false when \a body returns false or the commit fails.
    template <typename Body>
    static bool transaction(const QSqlDatabase& db, const char* what, Body&& body)
    {
        if (!exec(db, QStringLiteral("BEGIN IMMEDIATE"), what))
            return false;
        if (body() && exec(db, QStringLiteral("COMMIT"), what))
            return true;
        rollback(db);
        return false;
    }

    /// Prepares \a sql once and runs \a step(query, item) for every element
    /// of \a items, all inside one transaction; stops at the first failure.
    template <typename List, typename Step>
    static bool forEachInTransaction(const QSqlDatabase& db, const QString& sql, const char* what, const List& items,
                                     Step&& step)
    {
        return transaction(db, what, [&] {
            QSqlQuery query(db);
            if (!prepare(query, sql, what))
                return false;
            for (const auto& item : items) {
                if (!step(query, item))
                    return false;
            }
            return true;
        });
    }

private:
    static void rollback(const QSqlDatabase& db);
    static bool configure(const QSqlDatabase& db, const Schema& schema);
};

} // namespace Trelan::Oku::ZYRCommon
