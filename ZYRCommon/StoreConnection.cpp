// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "StoreConnection_p.h"

#include <ZYRCommon/ApplicationSettings.h>

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>
#include <QThread>
#include <QThreadStorage>

namespace Trelan::Oku::ZYRCommon {

Q_LOGGING_CATEGORY(lcStore, "zyr.common.store", QtWarningMsg)

namespace {

// The connections one thread opened. QThreadStorage deletes it while the
// thread finishes (before QThread::wait() returns; for the main thread when
// the application object is destroyed), which closes them.
struct ThreadConnections {
    QStringList names;

    ~ThreadConnections()
    {
        for (const QString& name : std::as_const(names))
            QSqlDatabase::removeDatabase(name);
    }
};

QThreadStorage<ThreadConnections*>& threadConnections()
{
    static QThreadStorage<ThreadConnections*> storage;
    return storage;
}

void remember(const QString& name)
{
    QThreadStorage<ThreadConnections*>& storage = threadConnections();
    if (!storage.hasLocalData())
        storage.setLocalData(new ThreadConnections);
    ThreadConnections* own = storage.localData();
    if (!own->names.contains(name))
        own->names.append(name);
}

void forget(const QString& name)
{
    QThreadStorage<ThreadConnections*>& storage = threadConnections();
    if (storage.hasLocalData())
        storage.localData()->names.removeAll(name);
}

QVariant pragmaValue(const QSqlDatabase& db, const QString& sql)
{
    QSqlQuery query(db);
    if (!query.exec(sql)) {
        qCWarning(lcStore).noquote() << sql << "failed:" << query.lastError().text();
        return QVariant();
    }
    return query.next() ? query.value(0) : QVariant();
}

// The calling thread's connection name: the path's hash keeps names short
// and free of separators; the thread's address tells the threads apart.
QString connectionName(const QString& prefix, const QString& path)
{
    const QByteArray pathHash = QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Sha1).toHex().left(16);
    return prefix + QLatin1Char('@') + QString::fromLatin1(pathHash) + QLatin1Char('@')
            + QString::number(reinterpret_cast<quintptr>(QThread::currentThread()), 16);
}

// Passes \a ok on, logging the driver's text for \a what when it is false.
bool checked(bool ok, const QSqlQuery& query, const char* what, const char* failed = "failed:")
{
    if (!ok)
        qCWarning(lcStore).noquote() << what << failed << query.lastError().text();
    return ok;
}

bool prepare(QSqlQuery& query, const char* what, const QString& sql)
{
    return checked(query.prepare(sql), query, what, "prepare failed:");
}

bool run(QSqlQuery& query, const char* what, const QVariantList& values)
{
    for (const QVariant& value : values)
        query.addBindValue(value);
    return checked(query.exec(), query, what);
}

bool run(const QSqlDatabase& db, const char* what, const QString& sql)
{
    QSqlQuery query(db);
    return checked(query.exec(sql), query, what);
}

// Runs \a body inside one transaction that takes the write lock at once.
// Rolls back and returns false when \a body returns false or the commit fails.
bool transaction(const QSqlDatabase& db, const char* what, const std::function<bool()>& body)
{
    if (!run(db, what, QStringLiteral("BEGIN IMMEDIATE")))
        return false;
    if (body() && run(db, what, QStringLiteral("COMMIT")))
        return true;
    // After some errors SQLite has already ended the transaction itself; a
    // ROLLBACK then fails harmlessly, so its failure is not worth a warning.
    QSqlQuery rollback(db);
    if (!rollback.exec(QStringLiteral("ROLLBACK")))
        qCDebug(lcStore).noquote() << "rollback:" << rollback.lastError().text();
    return false;
}

bool configure(const QSqlDatabase& db, const StoreConnection::Schema& schema)
{
    pragmaValue(db, QStringLiteral("PRAGMA busy_timeout = ") + QString::number(StoreConnection::BusyTimeoutMs));
    // WAL keeps the last committed state intact when the application dies
    // mid-write, lets readers run beside the writer, and with
    // synchronous=NORMAL syncs only at checkpoints instead of every commit.
    // The switch needs the file to itself for a moment, and SQLite refuses it
    // at once, without waiting out busy_timeout, while another connection
    // is opening the same new file. It is made once for good, so a refused
    // switch is tried again until the file says "wal".
    QString mode;
    const QDeadlineTimer deadline(StoreConnection::BusyTimeoutMs);
    for (;;) {
        QSqlQuery query(db);
        if (query.exec(QStringLiteral("PRAGMA journal_mode = WAL")) && query.next()) {
            mode = query.value(0).toString();
            break;
        }
        if (deadline.hasExpired()) {
            qCWarning(lcStore).noquote() << "PRAGMA journal_mode = WAL failed:" << query.lastError().text();
            break;
        }
        QThread::msleep(StoreConnection::JournalRetryMs);
    }
    if (mode.compare(QLatin1String("wal"), Qt::CaseInsensitive) != 0)
        qCWarning(lcStore) << "journal mode is" << mode << "instead of wal for" << db.databaseName();
    pragmaValue(db, QStringLiteral("PRAGMA synchronous = NORMAL"));

    const QVariant current = pragmaValue(db, QStringLiteral("PRAGMA user_version"));
    if (!current.isValid())
        return false;
    const int version = current.toInt();
    if (version > schema.version) {
        qCWarning(lcStore) << db.databaseName() << "has schema version" << version << "newer than" << schema.version
                           << "; using it as it is";
        return true;
    }
    if (version == schema.version)
        return true;
    return transaction(db, "schema creation", [&db, &schema] {
        // Another connection may have brought the file up to date since the
        // version was read; under the write lock the answer is final.
        if (pragmaValue(db, QStringLiteral("PRAGMA user_version")).toInt() >= schema.version)
            return true;
        for (const QString& statement : schema.statements) {
            if (!run(db, "schema creation", statement))
                return false;
        }
        // PRAGMA takes no bound parameters; the version is our own integer.
        return run(db, "schema version", QStringLiteral("PRAGMA user_version = ") + QString::number(schema.version));
    });
}

} // namespace

StoreConnection::StoreConnection(const QString& name, const QString& path, const QString& prefix, Schema schema)
    : m_path(path.isEmpty() ? ApplicationSettings::databaseLocation() + QLatin1Char('/') + name + QLatin1String(".db")
                            : QFileInfo(path).absoluteFilePath()),
      m_prefix(prefix.isEmpty() ? QLatin1String("zyr.") + name : prefix), m_schema(std::move(schema))
{
}

StoreConnection::~StoreConnection()
{
    // Other threads' connections end with their threads.
    const QString name = connectionName(m_prefix, m_path);
    forget(name);
    if (QSqlDatabase::contains(name))
        QSqlDatabase::removeDatabase(name);
}

QSqlDatabase StoreConnection::database() const
{
    const QString name = connectionName(m_prefix, m_path);
    if (QSqlDatabase::contains(name)) {
        {
            QSqlDatabase existing = QSqlDatabase::database(name, false);
            if (existing.isOpen())
                return existing;
        }
        // Closed by someone else or left over: start again from scratch.
        QSqlDatabase::removeDatabase(name);
    }

    bool opened = false;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        if (!db.isValid()) {
            qCWarning(lcStore).noquote() << "SQLite driver not available:" << db.lastError().text();
        } else {
            db.setDatabaseName(m_path);
            db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=") + QString::number(BusyTimeoutMs));
            const QString dir = QFileInfo(m_path).absolutePath();
            if (!QDir().mkpath(dir))
                qCWarning(lcStore) << "cannot create directory" << dir;
            if (!db.open()) {
                qCWarning(lcStore).noquote() << "cannot open" << m_path << ':' << db.lastError().text();
            } else if (!configure(db, m_schema)) {
                db.close();
            } else {
                opened = true;
            }
        }
    }
    if (!opened) {
        QSqlDatabase::removeDatabase(name);
        forget(name);
        return QSqlDatabase();
    }
    remember(name);
    return QSqlDatabase::database(name, false);
}

bool StoreConnection::execEach(const char* what, const QString& sql, const QList<QVariantList>& rows) const
{
    if (rows.isEmpty())
        return true;
    const QSqlDatabase db = database();
    if (!db.isOpen())
        return false;
    return transaction(db, what, [&] {
        QSqlQuery query(db);
        if (!prepare(query, what, sql))
            return false;
        for (const QVariantList& values : rows) {
            if (!run(query, what, values))
                return false;
        }
        return true;
    });
}

bool StoreConnection::exec(const char* what, const QString& sql, const QVariantList& values,
                           const std::function<void(const QSqlQuery&)>& read) const
{
    const QSqlDatabase db = database();
    if (!db.isOpen())
        return false;
    QSqlQuery query(db);
    query.setForwardOnly(true);
    if (!prepare(query, what, sql) || !run(query, what, values))
        return false;
    if (!read)
        return true;
    while (query.next())
        read(query);
    // next() also ends on a failed step (a busy or damaged file): the rows
    // read so far are not the whole answer then.
    return checked(!query.lastError().isValid(), query, what, "reading failed:");
}

bool StoreConnection::refuse(const char* what, const char* why)
{
    qCWarning(lcStore) << what << "refused:" << why;
    return false;
}

QVariant sqlText(const QString& value)
{
    return value.isNull() ? QVariant(QString(QLatin1String(""))) : QVariant(value);
}

QVariant sqlTime(const QDateTime& value)
{
    return value.isValid() ? QVariant(value.toMSecsSinceEpoch()) : QVariant();
}

QDateTime sqlTimeAt(const QSqlQuery& query, int column)
{
    return query.isNull(column) ? QDateTime()
                                : QDateTime::fromMSecsSinceEpoch(query.value(column).toLongLong(), Qt::UTC);
}

} // namespace Trelan::Oku::ZYRCommon
