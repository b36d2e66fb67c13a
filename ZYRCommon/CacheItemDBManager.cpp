// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRCommon/CacheItemDBManager.h>

#include "StoreConnection_p.h"

#include <QSqlQuery>

namespace Trelan::Oku::ZYRCommon {

using ZYRModel::MFileCacheItem;

namespace {

constexpr int SchemaVersion = 1;

StoreConnection::Schema schema()
{
    return { SchemaVersion,
             { QStringLiteral("CREATE TABLE IF NOT EXISTS cache_items ("
                              " id TEXT PRIMARY KEY NOT NULL,"
                              " file_id TEXT NOT NULL DEFAULT '',"
                              " digest TEXT NOT NULL DEFAULT '',"
                              " local_dir TEXT NOT NULL DEFAULT '',"
                              " local_name TEXT NOT NULL DEFAULT '',"
                              " cached_time INTEGER)"),
               QStringLiteral("CREATE INDEX IF NOT EXISTS cache_items_file_id ON cache_items (file_id)"),
               QStringLiteral("CREATE INDEX IF NOT EXISTS cache_items_local_dir ON cache_items (local_dir)") } };
}

const QString InsertSql
        = QStringLiteral("INSERT OR REPLACE INTO cache_items (id, file_id, digest, local_dir, local_name, cached_time)"
                         " VALUES (?, ?, ?, ?, ?, ?)");

QVariantList insertValues(const MFileCacheItem& item)
{
    return { item.getId(),
             sqlText(item.getFileId()),
             sqlText(item.getDigest()),
             sqlText(item.getLocalDir()),
             sqlText(item.getLocalName()),
             sqlTime(item.getCachedTime()) };
}

// In the order of the INSERT's columns.
MFileCacheItem readItem(const QSqlQuery& query)
{
    MFileCacheItem item;
    item.setId(query.value(0).toString());
    item.setFileId(query.value(1).toString());
    item.setDigest(query.value(2).toString());
    item.setLocalDir(query.value(3).toString());
    item.setLocalName(query.value(4).toString());
    // UTC: the same instant as the copy's local mtime, compared by instant.
    item.setCachedTime(sqlTimeAt(query, 5));
    return item;
}

bool hasId(const MFileCacheItem& item)
{
    return !item.getId().isEmpty() || StoreConnection::refuse("cache insert", "record without id");
}

// Empty keys would match the records that lack the field; callers never
// mean that.
bool nonEmpty(const QString& key, const char* what)
{
    return !key.isEmpty() || StoreConnection::refuse(what, "empty key");
}

} // namespace

CacheItemDBManager::CacheItemDBManager(const QString& databasePath, const QString& connectionPrefix)
    : d(std::make_unique<StoreConnection>(QStringLiteral("cache"), databasePath, connectionPrefix, schema()))
{
}

CacheItemDBManager::~CacheItemDBManager() = default;

const QString& CacheItemDBManager::databasePath() const
{
    return d->path();
}

bool CacheItemDBManager::insertItem(const MFileCacheItem& item)
{
    return hasId(item) && d->exec("cache insert", InsertSql, insertValues(item));
}

bool CacheItemDBManager::insertItems(const QList<MFileCacheItem>& items)
{
    QList<QVariantList> rows;
    for (const MFileCacheItem& item : items) {
        if (!hasId(item))
            return false;
        rows.append(insertValues(item));
    }
    return d->execEach("cache insert", InsertSql, rows);
}

bool CacheItemDBManager::getCacheItems(const QString& fileId, QList<MFileCacheItem>& items)
{
    QList<MFileCacheItem> read;
    if (!nonEmpty(fileId, "cache read")
        || !d->exec("cache read",
                    QStringLiteral("SELECT id, file_id, digest, local_dir, local_name, cached_time"
                                   " FROM cache_items WHERE file_id = ? ORDER BY rowid"),
                    { fileId }, [&read](const QSqlQuery& query) { read.append(readItem(query)); }))
        return false;
    // Only a whole answer reaches the caller.
    items.append(read);
    return true;
}

bool CacheItemDBManager::deleteItemById(const QString& id)
{
    return nonEmpty(id, "cache delete")
            && d->exec("cache delete", QStringLiteral("DELETE FROM cache_items WHERE id = ?"), { id });
}

bool CacheItemDBManager::deleteItemByFileId(const QString& fileId)
{
    return nonEmpty(fileId, "cache delete")
            && d->exec("cache delete", QStringLiteral("DELETE FROM cache_items WHERE file_id = ?"), { fileId });
}

bool CacheItemDBManager::deleteItemByLocalDir(const QString& localDir)
{
    return nonEmpty(localDir, "cache delete")
            && d->exec("cache delete", QStringLiteral("DELETE FROM cache_items WHERE local_dir = ?"), { localDir });
}

bool CacheItemDBManager::updateItemLocalDir(const QString& oldDir, const QString& newDir)
{
    return nonEmpty(oldDir, "cache move") && nonEmpty(newDir, "cache move")
            && d->exec("cache move", QStringLiteral("UPDATE cache_items SET local_dir = ? WHERE local_dir = ?"),
                       { newDir, oldDir });
}

} // namespace Trelan::Oku::ZYRCommon
