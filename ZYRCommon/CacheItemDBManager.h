// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRCommon/zyrcommon_export.h>

#include <ZYRModel/MFileCacheItem.h>

#include <QList>
#include <QString>

namespace Trelan::Oku::ZYRCommon {

/// SQLite store of cached local copies. Same threading and error rules as
/// TransferItemDBManager.
class ZYRCOMMON_EXPORT CacheItemDBManager
{
public:
    /// \a databasePath empty: "cache.db" in ApplicationSettings::databaseLocation().
    CacheItemDBManager(const QString& databasePath, const QString& connectionPrefix);
    ~CacheItemDBManager();

    const QString& databasePath() const;

    bool insertItem(const Trelan::Oku::ZYRModel::MFileCacheItem& item);
    bool insertItems(const QList<Trelan::Oku::ZYRModel::MFileCacheItem>& items);
    /// The records of \a fileId in insertion order.
    bool getCacheItems(const QString& fileId, QList<Trelan::Oku::ZYRModel::MFileCacheItem>& items);
    bool deleteItemById(const QString& id);
    bool deleteItemByFileId(const QString& fileId);
    bool deleteItemByLocalDir(const QString& localDir);
    bool updateItemLocalDir(const QString& oldDir, const QString& newDir);

private:
    QString m_databasePath;
    QString m_connectionPrefix;
};

} // namespace Trelan::Oku::ZYRCommon
