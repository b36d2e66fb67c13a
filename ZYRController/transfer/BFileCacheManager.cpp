// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BFileCacheManager.h>

#include <ZYRCommon/FileUtils.h>

#include <QDir>
#include <QFileInfo>
#include <QUuid>

namespace Trelan::Oku::ZYRController {

using Trelan::Oku::ZYRCommon::FileUtils;
using Trelan::Oku::ZYRModel::MFile;
using Trelan::Oku::ZYRModel::MFileCacheItem;

BFileCacheManager::BFileCacheManager() : m_store(QString(), QString()) { }

void BFileCacheManager::buildCacheItem(const QString& fileId, const QString& digest, const QString& localPath,
                                       MFileCacheItem& out)
{
    const QFileInfo info(localPath);
    out.setId(QUuid::createUuid().toString());
    out.setFileId(fileId);
    out.setDigest(digest);
    out.setLocalDir(FileUtils::formatPath(info.path()));
    out.setLocalName(info.fileName());
    out.setCachedTime(info.lastModified());
}

bool BFileCacheManager::isCachedFileModified(const MFileCacheItem& item)
{
    QString path = item.getLocalDir();
    path.replace(QLatin1Char('\\'), QLatin1Char('/'));
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    path += item.getLocalName();

    const QFileInfo info(path);
    if (!info.exists())
        return true;
    return info.lastModified() != item.getCachedTime();
}

bool BFileCacheManager::addCacheItem(const QString& fileId, const QString& digest, const QString& localPath)
{
    MFileCacheItem item;
    buildCacheItem(fileId, digest, localPath, item);
    return m_store.insertItem(item);
}

bool BFileCacheManager::addCacheItem(const MFileCacheItem& item)
{
    return m_store.insertItem(item);
}

bool BFileCacheManager::addCacheItems(const QList<MFileCacheItem>& items)
{
    return m_store.insertItems(items);
}

bool BFileCacheManager::getCacheItem(QWeakPointer<MFile> weakFile, MFileCacheItem& out, const QString& localDir,
                                     const QString& localName)
{
    const QSharedPointer<MFile> file = weakFile.toStrongRef();
    if (!file)
        return false;

    QList<MFileCacheItem> records;
    if (!m_store.getCacheItems(file->getId(), records) || records.isEmpty())
        return false;

    QList<MFileCacheItem> valid;
    for (const MFileCacheItem& record : std::as_const(records)) {
        if (record.getDigest() == file->getDigest() && !isCachedFileModified(record))
            valid.append(record);
        else
            m_store.deleteItemById(record.getId());
    }
    if (valid.isEmpty()) {
        m_store.deleteItemByFileId(file->getId());
        return false;
    }

    const MFileCacheItem* choice = &valid.first();
    if (!localDir.isEmpty()) {
        const QDir wanted(localDir);
        for (const MFileCacheItem& record : std::as_const(valid)) {
            if (QDir(record.getLocalDir()) != wanted)
                continue;
            choice = &record;
            if (localName.isEmpty() || localName == record.getLocalName())
                break;
        }
    }
    out = *choice;
    return true;
}

bool BFileCacheManager::removeCacheItemByLocalDir(const QString& dir)
{
    return m_store.deleteItemByLocalDir(FileUtils::formatPath(dir));
}

bool BFileCacheManager::updateCacheItemLocalDir(const QString& oldDir, const QString& newDir)
{
    return m_store.updateItemLocalDir(FileUtils::formatPath(oldDir), FileUtils::formatPath(newDir));
}

} // namespace Trelan::Oku::ZYRController
