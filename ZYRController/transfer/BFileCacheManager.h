// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

#include <ZYRCommon/CacheItemDBManager.h>
#include <ZYRModel/MFile.h>
#include <ZYRModel/MFileCacheItem.h>

#include <QList>
#include <QString>
#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

/// Remembers which cloud files have a local copy, at which digest, and
/// decides whether such a copy can be used instead of a new download. A copy
/// is current only while the cloud digest is unchanged and the local file
/// still carries the modification time recorded with it.
class ZYRCONTROLLER_EXPORT BFileCacheManager {
public:
    BFileCacheManager();

    /// Fills \a out for the local copy at \a localPath of the cloud file
    /// \a fileId at \a digest: a new id, the normalised directory, the file
    /// name and the file's current modification time.
    static void buildCacheItem(const QString& fileId, const QString& digest, const QString& localPath,
                               Trelan::Oku::ZYRModel::MFileCacheItem& out);
    /// True when no file is at the record's place or its modification time
    /// differs from the recorded one.
    static bool isCachedFileModified(const Trelan::Oku::ZYRModel::MFileCacheItem& item);

    bool addCacheItem(const QString& fileId, const QString& digest, const QString& localPath);
    bool addCacheItem(const Trelan::Oku::ZYRModel::MFileCacheItem& item);
    bool addCacheItems(const QList<Trelan::Oku::ZYRModel::MFileCacheItem>& items);

    /// Finds a current copy of \a file, preferring one in \a localDir (and
    /// named \a localName when given). Stale records of the file are removed
    /// from the store on the way; false when no current copy exists.
    bool getCacheItem(QWeakPointer<Trelan::Oku::ZYRModel::MFile> file, Trelan::Oku::ZYRModel::MFileCacheItem& out,
                      const QString& localDir, const QString& localName);

    bool removeCacheItemByLocalDir(const QString& dir);
    bool updateCacheItemLocalDir(const QString& oldDir, const QString& newDir);

private:
    Trelan::Oku::ZYRCommon::CacheItemDBManager m_store;
};

} // namespace Trelan::Oku::ZYRController
