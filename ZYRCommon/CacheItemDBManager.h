// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRCommon/zyrcommon_export.h>

#include <ZYRModel/MFileCacheItem.h>

#include <QList>
#include <QString>

#include <memory>

namespace Trelan::Oku::ZYRCommon {

class StoreConnection;

/// SQLite store of cached local copies. Same threading and error rules as
/// TransferItemDBManager.
class ZYRCOMMON_EXPORT CacheItemDBManager {
public:
    /// \a databasePath empty: "cache.db" in ApplicationSettings::databaseLocation().
    /// \a connectionPrefix empty: a name derived from the path.
    CacheItemDBManager(const QString& databasePath, const QString& connectionPrefix);
    ~CacheItemDBManager();

    /// The absolute path of the database file.
    const QString& databasePath() const;

    /// Writes the record under its id; a stored record with that id is
    /// replaced and counts as inserted now. A record without id is refused.
    bool insertItem(const Trelan::Oku::ZYRModel::MFileCacheItem& item);
    bool insertItems(const QList<Trelan::Oku::ZYRModel::MFileCacheItem>& items);
    /// Appends the records of \a fileId in insertion order.
    bool getCacheItems(const QString& fileId, QList<Trelan::Oku::ZYRModel::MFileCacheItem>& items);
    bool deleteItemById(const QString& id);
    bool deleteItemByFileId(const QString& fileId);
    /// The directory texts are compared exactly: pass FileUtils::formatPath'd
    /// text, as the records hold. Empty keys are refused (false).
    bool deleteItemByLocalDir(const QString& localDir);
    bool updateItemLocalDir(const QString& oldDir, const QString& newDir);

private:
    std::unique_ptr<StoreConnection> d;
};

} // namespace Trelan::Oku::ZYRCommon
