// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRModel/MFileTransferItem.h>

namespace Trelan::Oku::ZYRModel {

MFileTransferItem::MFileTransferItem() = default;

const QString& MFileTransferItem::getId() const
{
    return m_id;
}

const QString& MFileTransferItem::getUserId() const
{
    return m_userId;
}

const QString& MFileTransferItem::getFileId() const
{
    return m_fileId;
}

bool MFileTransferItem::getIsDownload() const
{
    return m_isDownload;
}

const QString& MFileTransferItem::getLocalPath() const
{
    return m_localPath;
}

const QString& MFileTransferItem::getRemoteParentPath() const
{
    return m_remoteParentPath;
}

const QString& MFileTransferItem::getRemotePath() const
{
    return m_remotePath;
}

qint64 MFileTransferItem::getSize() const
{
    return m_size;
}

qint64 MFileTransferItem::getBytesCompleted() const
{
    return m_bytesCompleted;
}

const QString& MFileTransferItem::getWorkspaceId() const
{
    return m_workspaceId;
}

const QDateTime& MFileTransferItem::getCreateTime() const
{
    return m_createTime;
}

const QDateTime& MFileTransferItem::getUpdateTime() const
{
    return m_updateTime;
}

void MFileTransferItem::setId(const QString& id)
{
    m_id = id;
}

void MFileTransferItem::setUserId(const QString& userId)
{
    m_userId = userId;
}

void MFileTransferItem::setFileId(const QString& fileId)
{
    m_fileId = fileId;
}

void MFileTransferItem::setIsDownload(bool isDownload)
{
    m_isDownload = isDownload;
}

void MFileTransferItem::setLocalPath(const QString& path)
{
    m_localPath = path;
}

void MFileTransferItem::setRemoteParentPath(const QString& path)
{
    m_remoteParentPath = path;
}

void MFileTransferItem::setRemotePath(const QString& path)
{
    m_remotePath = path;
}

void MFileTransferItem::setSize(qint64 size)
{
    m_size = size;
}

void MFileTransferItem::setBytesCompleted(qint64 bytes)
{
    m_bytesCompleted = bytes;
}

void MFileTransferItem::setWorkspaceId(const QString& workspaceId)
{
    m_workspaceId = workspaceId;
}

void MFileTransferItem::setCreateTime(const QDateTime& time)
{
    m_createTime = time;
}

void MFileTransferItem::setUpdateTime(const QDateTime& time)
{
    m_updateTime = time;
}

QString MFileTransferItem::getRemoteFileName() const
{
    const int slash = static_cast<int>(m_remotePath.lastIndexOf(QLatin1Char('/')));
    return slash < 0 ? m_remotePath : m_remotePath.mid(slash + 1);
}

MFileTransferItem::TransferStatus MFileTransferItem::getStatus() const
{
    return m_status;
}

void MFileTransferItem::setStatus(TransferStatus status)
{
    m_status = status;
}

MFileTransferItem::FailureReason MFileTransferItem::getFailureReason() const
{
    return m_failureReason;
}

void MFileTransferItem::setFailureReason(FailureReason reason)
{
    m_failureReason = reason;
}

bool MFileTransferItem::operator==(const MFileTransferItem& o) const
{
    return m_id == o.m_id && m_userId == o.m_userId && m_fileId == o.m_fileId && m_isDownload == o.m_isDownload
            && m_localPath == o.m_localPath && m_remoteParentPath == o.m_remoteParentPath
            && m_remotePath == o.m_remotePath && m_size == o.m_size && m_bytesCompleted == o.m_bytesCompleted
            && m_workspaceId == o.m_workspaceId && m_createTime == o.m_createTime && m_updateTime == o.m_updateTime
            && m_status == o.m_status && m_failureReason == o.m_failureReason;
}

} // namespace Trelan::Oku::ZYRModel
