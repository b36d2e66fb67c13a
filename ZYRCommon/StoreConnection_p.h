// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

// Internal to ZYRCommon: what the two stores share, from the SQLite
// connections to running a statement, a list of them or a read. Each store
// keeps its own SQL and record mapping.

#include <QDateTime>
#include <QList>
#include <QLoggingCategory>
#include <QSqlDatabase>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>

class QSqlQuery;

namespace Trelan::Oku::ZYRCommon {

Q_DECLARE_LOGGING_CATEGORY(lcStore)

/// One store's database file, reached from any thread. A SQLite connection
/// may only be used by the thread that opened it, so each thread opens its
/// own on first use, named after the store, the file and the thread; it is
/// closed when that thread ends, or when the object is destroyed in it. The
/// object holds no QSqlDatabase and its operations change nothing in it, so
/// threads may share one.
///
/// An operation that fails returns false and logs the driver's text under
/// \a what; the connection stays open for the next call.
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

    /// The file is \a path made absolute, or "<name>.db" in
    /// ApplicationSettings::databaseLocation() when \a path is empty; the
    /// connections' prefix is \a prefix, or "zyr.<name>". Nothing is opened
    /// before the first operation.
    StoreConnection(const QString& name, const QString& path, const QString& prefix, Schema schema);
    /// Closes the calling thread's connection; any other store object of the
    /// file reopens it on its next call.
    ~StoreConnection();
    Q_DISABLE_COPY_MOVE(StoreConnection)

    const QString& path() const { return m_path; }

    /// Runs \a sql once, with \a values bound in order, and hands each row of
    /// its result to \a read, when given.
    bool exec(const char* what, const QString& sql, const QVariantList& values,
              const std::function<void(const QSqlQuery&)>& read = {}) const;
    /// Prepares \a sql once and runs it for each of \a rows, in one
    /// transaction that takes the write lock at once (BEGIN IMMEDIATE), so
    /// that a concurrent writer waits on the busy timeout instead of failing
    /// half-way; the first failure rolls back the whole list. No rows: true,
    /// without opening anything.
    bool execEach(const char* what, const QString& sql, const QList<QVariantList>& rows) const;

    /// Logs that \a what was refused before any SQL ran, for \a why; false.
    static bool refuse(const char* what, const char* why);

private:
    QSqlDatabase database() const;

    QString m_path;
    QString m_prefix;
    Schema m_schema;
};

/// A text column's value: '' for a null string, which would be bound as NULL.
QVariant sqlText(const QString& value);
/// A time column's value: milliseconds since the epoch; NULL for an unset time.
QVariant sqlTime(const QDateTime& value);
/// A time column read back in UTC: the same instant as what was stored
/// (QDateTime compares instants), without a time-zone lookup in whichever
/// thread reads.
QDateTime sqlTimeAt(const QSqlQuery& query, int column);

} // namespace Trelan::Oku::ZYRCommon
