// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "StoreConnection_p.h"

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

} // namespace

QString StoreConnection::connectionName(const QString& prefix, const QString& path)
{
    // The path's hash keeps names short and free of separators; the thread's
    // address tells the threads' connections apart.
    const QByteArray pathHash = QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Sha1).toHex().left(16);
    return prefix + QLatin1Char('@') + QString::fromLatin1(pathHash) + QLatin1Char('@')
            + QString::number(reinterpret_cast<quintptr>(QThread::currentThread()), 16);
}

QSqlDatabase StoreConnection::database(const QString& prefix, const QString& path, const Schema& schema)
{
    const QString name = connectionName(prefix, path);
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
            db.setDatabaseName(path);
            db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=") + QString::number(BusyTimeoutMs));
            const QString dir = QFileInfo(path).absolutePath();
            if (!QDir().mkpath(dir))
                qCWarning(lcStore) << "cannot create directory" << dir;
            if (!db.open()) {
                qCWarning(lcStore).noquote() << "cannot open" << path << ':' << db.lastError().text();
            } else if (!configure(db, schema)) {
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

void StoreConnection::release(const QString& prefix, const QString& path)
{
    const QString name = connectionName(prefix, path);
    forget(name);
    if (QSqlDatabase::contains(name))
        QSqlDatabase::removeDatabase(name);
}

bool StoreConnection::prepare(QSqlQuery& query, const QString& sql, const char* what)
{
    if (query.prepare(sql))
        return true;
    qCWarning(lcStore).noquote() << what << "prepare failed:" << query.lastError().text();
    return false;
}

bool StoreConnection::exec(QSqlQuery& query, const char* what)
{
    if (query.exec())
        return true;
    qCWarning(lcStore).noquote() << what << "failed:" << query.lastError().text();
    return false;
}

bool StoreConnection::exec(const QSqlDatabase& db, const QString& sql, const char* what)
{
    QSqlQuery query(db);
    if (query.exec(sql))
        return true;
    qCWarning(lcStore).noquote() << what << "failed:" << query.lastError().text();
    return false;
}

void StoreConnection::rollback(const QSqlDatabase& db)
{
    // After some errors SQLite has already ended the transaction itself; a
    // ROLLBACK then fails harmlessly, so its failure is not worth a warning.
    QSqlQuery query(db);
    if (!query.exec(QStringLiteral("ROLLBACK")))
        qCDebug(lcStore).noquote() << "rollback:" << query.lastError().text();
}

bool StoreConnection::configure(const QSqlDatabase& db, const Schema& schema)
{
    pragmaValue(db, QStringLiteral("PRAGMA busy_timeout = ") + QString::number(BusyTimeoutMs));
    // WAL keeps the last committed state intact when the application dies
    // mid-write, lets readers run beside the writer, and with
    // synchronous=NORMAL syncs only at checkpoints instead of every commit.
    // The switch needs the file to itself for a moment, and SQLite refuses it
    // at once, without waiting out busy_timeout, while another connection
    // is opening the same new file. It is made once for good, so a refused
    // switch is tried again until the file says "wal".
    QString mode;
    const QDeadlineTimer deadline(BusyTimeoutMs);
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
        QThread::msleep(JournalRetryMs);
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
        for (const QString& statement : schema.statements) {
            if (!exec(db, statement, "schema creation"))
                return false;
        }
        // PRAGMA takes no bound parameters; the version is our own integer.
        return exec(db, QStringLiteral("PRAGMA user_version = ") + QString::number(schema.version), "schema version");
    });
}

} // namespace Trelan::Oku::ZYRCommon
