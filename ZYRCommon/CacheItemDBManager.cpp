// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRCommon/CacheItemDBManager.h>

#include <ZYRCommon/ApplicationSettings.h>

#include "StoreConnection_p.h"

#include <QFileInfo>
#include <QSqlQuery>
#include <QVariant>

namespace Trelan::Oku::ZYRCommon {

using ZYRModel::MFileCacheItem;

namespace {

constexpr int SchemaVersion = 1;

const StoreConnection::Schema& schema()
{
    static const StoreConnection::Schema s{
        SchemaVersion,
        { QStringLiteral("CREATE TABLE IF NOT EXISTS cache_items ("
                         " id TEXT PRIMARY KEY NOT NULL,"
                         " file_id TEXT NOT NULL DEFAULT '',"
                         " digest TEXT NOT NULL DEFAULT '',"
                         " local_dir TEXT NOT NULL DEFAULT '',"
                         " local_name TEXT NOT NULL DEFAULT '',"
                         " cached_time INTEGER)"),
          QStringLiteral("CREATE INDEX IF NOT EXISTS cache_items_file_id ON cache_items (file_id)"),
          QStringLiteral("CREATE INDEX IF NOT EXISTS cache_items_local_dir ON cache_items (local_dir)") }
    };
    return s;
}

const QString InsertSql
        = QStringLiteral("INSERT OR REPLACE INTO cache_items (id, file_id, digest, local_dir, local_name, cached_time)"
                         " VALUES (?, ?, ?, ?, ?, ?)");

// A null QString would be bound as SQL NULL; the text columns hold '' instead.
QVariant text(const QString& value)
{
    return value.isNull() ? QVariant(QString(QLatin1String(""))) : QVariant(value);
}

bool hasId(const MFileCacheItem& item)
{
    if (!item.getId().isEmpty())
        return true;
    qCWarning(lcStore) << "cache insert refused: record without id";
    return false;
}

bool insertPrepared(QSqlQuery& query, const MFileCacheItem& item)
{
    query.addBindValue(item.getId());
    query.addBindValue(text(item.getFileId()));
    query.addBindValue(text(item.getDigest()));
    query.addBindValue(text(item.getLocalDir()));
    query.addBindValue(text(item.getLocalName()));
    query.addBindValue(item.getCachedTime().isValid() ? QVariant(item.getCachedTime().toMSecsSinceEpoch())
                                                      : QVariant());
    return StoreConnection::exec(query, "cache insert");
}

// Empty keys would match the records that lack the field; callers never
// mean that.
bool nonEmpty(const QString& key, const char* what)
{
    if (!key.isEmpty())
        return true;
    qCWarning(lcStore) << what << "refused: empty key";
    return false;
}

} // namespace

CacheItemDBManager::CacheItemDBManager(const QString& databasePath, const QString& connectionPrefix)
    : m_databasePath(databasePath.isEmpty() ? ApplicationSettings::databaseLocation() + QStringLiteral("/cache.db")
                                            : QFileInfo(databasePath).absoluteFilePath()),
      m_connectionPrefix(connectionPrefix.isEmpty() ? QStringLiteral("zyr.cache") : connectionPrefix)
{
}

CacheItemDBManager::~CacheItemDBManager()
{
    StoreConnection::release(m_connectionPrefix, m_databasePath);
}

const QString& CacheItemDBManager::databasePath() const
{
    return m_databasePath;
}

bool CacheItemDBManager::insertItem(const MFileCacheItem& item)
{
    if (!hasId(item))
        return false;
    const QSqlDatabase db = StoreConnection::database(m_connectionPrefix, m_databasePath, schema());
    if (!db.isOpen())
        return false;
    QSqlQuery query(db);
    return StoreConnection::prepare(query, InsertSql, "cache insert") && insertPrepared(query, item);
}

bool CacheItemDBManager::insertItems(const QList<MFileCacheItem>& items)
{
    for (const MFileCacheItem& item : items) {
        if (!hasId(item))
            return false;
    }
    if (items.isEmpty())
        return true;
    const QSqlDatabase db = StoreConnection::database(m_connectionPrefix, m_databasePath, schema());
    if (!db.isOpen())
        return false;
    return StoreConnection::forEachInTransaction(
            db, InsertSql, "cache insert", items,
            [](QSqlQuery& query, const MFileCacheItem& item) { return insertPrepared(query, item); });
}

bool CacheItemDBManager::getCacheItems(const QString& fileId, QList<MFileCacheItem>& items)
{
    if (!nonEmpty(fileId, "cache read"))
        return false;
    const QSqlDatabase db = StoreConnection::database(m_connectionPrefix, m_databasePath, schema());
    if (!db.isOpen())
        return false;
    QSqlQuery query(db);
    query.setForwardOnly(true);
    if (!StoreConnection::prepare(query,
                                  QStringLiteral("SELECT id, file_id, digest, local_dir, local_name, cached_time"
                                                 " FROM cache_items WHERE file_id = ? ORDER BY rowid"),
                                  "cache read"))
        return false;
    query.addBindValue(fileId);
    if (!StoreConnection::exec(query, "cache read"))
        return false;
    QList<MFileCacheItem> read;
    while (query.next()) {
        MFileCacheItem item;
        item.setId(query.value(0).toString());
        item.setFileId(query.value(1).toString());
        item.setDigest(query.value(2).toString());
        item.setLocalDir(query.value(3).toString());
        item.setLocalName(query.value(4).toString());
        // UTC: the same instant as the copy's local mtime, compared by instant.
        if (!query.isNull(5))
            item.setCachedTime(QDateTime::fromMSecsSinceEpoch(query.value(5).toLongLong(), Qt::UTC));
        read.append(item);
    }
    items.append(read);
    return true;
}

bool CacheItemDBManager::deleteItemById(const QString& id)
{
    if (!nonEmpty(id, "cache delete"))
        return false;
    const QSqlDatabase db = StoreConnection::database(m_connectionPrefix, m_databasePath, schema());
    if (!db.isOpen())
        return false;
    QSqlQuery query(db);
    if (!StoreConnection::prepare(query, QStringLiteral("DELETE FROM cache_items WHERE id = ?"), "cache delete"))
        return false;
    query.addBindValue(id);
    return StoreConnection::exec(query, "cache delete");
}

bool CacheItemDBManager::deleteItemByFileId(const QString& fileId)
{
    if (!nonEmpty(fileId, "cache delete"))
        return false;
    const QSqlDatabase db = StoreConnection::database(m_connectionPrefix, m_databasePath, schema());
    if (!db.isOpen())
        return false;
    QSqlQuery query(db);
    if (!StoreConnection::prepare(query, QStringLiteral("DELETE FROM cache_items WHERE file_id = ?"), "cache delete"))
        return false;
    query.addBindValue(fileId);
    return StoreConnection::exec(query, "cache delete");
}

bool CacheItemDBManager::deleteItemByLocalDir(const QString& localDir)
{
    if (!nonEmpty(localDir, "cache delete"))
        return false;
    const QSqlDatabase db = StoreConnection::database(m_connectionPrefix, m_databasePath, schema());
    if (!db.isOpen())
        return false;
    QSqlQuery query(db);
    if (!StoreConnection::prepare(query, QStringLiteral("DELETE FROM cache_items WHERE local_dir = ?"), "cache delete"))
        return false;
    query.addBindValue(localDir);
    return StoreConnection::exec(query, "cache delete");
}

bool CacheItemDBManager::updateItemLocalDir(const QString& oldDir, const QString& newDir)
{
    if (!nonEmpty(oldDir, "cache move") || !nonEmpty(newDir, "cache move"))
        return false;
    const QSqlDatabase db = StoreConnection::database(m_connectionPrefix, m_databasePath, schema());
    if (!db.isOpen())
        return false;
    QSqlQuery query(db);
    if (!StoreConnection::prepare(query, QStringLiteral("UPDATE cache_items SET local_dir = ? WHERE local_dir = ?"),
                                  "cache move"))
        return false;
    query.addBindValue(newDir);
    query.addBindValue(oldDir);
    return StoreConnection::exec(query, "cache move");
}

} // namespace Trelan::Oku::ZYRCommon
