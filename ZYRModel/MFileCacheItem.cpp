// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRModel/MFileCacheItem.h>

namespace Trelan::Oku::ZYRModel {

MFileCacheItem::MFileCacheItem() = default;

const QString& MFileCacheItem::getId() const
{
    return m_id;
}

const QString& MFileCacheItem::getFileId() const
{
    return m_fileId;
}

const QString& MFileCacheItem::getDigest() const
{
    return m_digest;
}

const QString& MFileCacheItem::getLocalDir() const
{
    return m_localDir;
}

const QString& MFileCacheItem::getLocalName() const
{
    return m_localName;
}

const QDateTime& MFileCacheItem::getCachedTime() const
{
    return m_cachedTime;
}

void MFileCacheItem::setId(const QString& id)
{
    m_id = id;
}

void MFileCacheItem::setFileId(const QString& fileId)
{
    m_fileId = fileId;
}

void MFileCacheItem::setDigest(const QString& digest)
{
    m_digest = digest;
}

void MFileCacheItem::setLocalDir(const QString& dir)
{
    m_localDir = dir;
}

void MFileCacheItem::setLocalName(const QString& name)
{
    m_localName = name;
}

void MFileCacheItem::setCachedTime(const QDateTime& time)
{
    m_cachedTime = time;
}

bool MFileCacheItem::operator==(const MFileCacheItem& o) const
{
    return m_id == o.m_id && m_fileId == o.m_fileId && m_digest == o.m_digest && m_localDir == o.m_localDir
            && m_localName == o.m_localName && m_cachedTime == o.m_cachedTime;
}

} // namespace Trelan::Oku::ZYRModel
