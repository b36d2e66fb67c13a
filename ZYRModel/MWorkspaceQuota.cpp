// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRModel/MWorkspaceQuota.h>

#include "ModelJson_p.h"

namespace Trelan::Oku::ZYRModel {

MWorkspaceQuota::MWorkspaceQuota() = default;

const QString& MWorkspaceQuota::getWorkspaceId() const
{
    return m_workspaceId;
}

qint64 MWorkspaceQuota::getUsedSize() const
{
    return m_usedSize;
}

qint64 MWorkspaceQuota::getTotalSize() const
{
    return m_totalSize;
}

qint64 MWorkspaceQuota::getFileCount() const
{
    return m_fileCount;
}

void MWorkspaceQuota::setWorkspaceId(const QString& id)
{
    m_workspaceId = id;
}

void MWorkspaceQuota::setUsedSize(qint64 bytes)
{
    m_usedSize = bytes;
}

void MWorkspaceQuota::setTotalSize(qint64 bytes)
{
    m_totalSize = bytes;
}

void MWorkspaceQuota::setFileCount(qint64 count)
{
    m_fileCount = count;
}

void MWorkspaceQuota::fromJson(const QJsonObject& object, MWorkspaceQuota& quota)
{
    quota.m_workspaceId = Json::string(object, "workspaceId");
    quota.m_usedSize = Json::int64(object, "usedSize");
    quota.m_totalSize = Json::int64(object, "totalSize");
    quota.m_fileCount = Json::int64(object, "fileCount");
}

QJsonObject MWorkspaceQuota::toJson() const
{
    return QJsonObject{ { QStringLiteral("workspaceId"), m_workspaceId },
                        { QStringLiteral("usedSize"), m_usedSize },
                        { QStringLiteral("totalSize"), m_totalSize },
                        { QStringLiteral("fileCount"), m_fileCount } };
}

} // namespace Trelan::Oku::ZYRModel
