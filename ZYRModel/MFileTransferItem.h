// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRModel/zyrmodel_export.h>

#include <QDateTime>
#include <QMetaType>
#include <QString>

namespace Trelan::Oku::ZYRModel {

/// One upload or download of one file, as the transfer queue and its store
/// keep it. A plain value: the queue owns its records, a worker works on a
/// copy.
class ZYRMODEL_EXPORT MFileTransferItem {
public:
    enum TransferStatus {
        Waiting = 0,
        Transferring = 1,
        Finished = 2,
        Failed = 3,
        Interrupted = 4,
    };

    /// Why a record ended Failed, for a view to explain; kept in the store.
    /// NoFailure for every other status.
    enum FailureReason {
        NoFailure = 0,
        /// A name from the server cannot be a local file or folder name
        /// ("..", holds a separator or a control character, ...): nothing
        /// was requested or written.
        UnsafeName = 1,
        /// The server refused, the connection broke, or the answer could not
        /// be used (a byte range other than the one asked for).
        RequestFailed = 2,
        /// The bytes received differ from the size or digest the server
        /// gave for the file; they were dropped.
        WrongContent = 3,
        /// The local file could not be read, written or put in its place.
        LocalFileError = 4,
        /// No reply and no progress for the inactivity timeout.
        TimedOut = 5,
    };

    MFileTransferItem();

    const QString& getId() const;
    void setId(const QString& id);
    const QString& getUserId() const;
    void setUserId(const QString& userId);
    const QString& getFileId() const;
    void setFileId(const QString& fileId);
    bool getIsDownload() const;
    void setIsDownload(bool isDownload);
    const QString& getLocalPath() const;
    void setLocalPath(const QString& path);
    const QString& getRemoteParentPath() const;
    void setRemoteParentPath(const QString& path);
    const QString& getRemotePath() const;
    void setRemotePath(const QString& path);
    /// The last element of the remote path (the whole text when it has no "/").
    QString getRemoteFileName() const;
    qint64 getSize() const;
    void setSize(qint64 size);
    qint64 getBytesCompleted() const;
    void setBytesCompleted(qint64 bytes);
    const QString& getWorkspaceId() const;
    void setWorkspaceId(const QString& workspaceId);
    const QDateTime& getCreateTime() const;
    void setCreateTime(const QDateTime& time);
    const QDateTime& getUpdateTime() const;
    void setUpdateTime(const QDateTime& time);
    TransferStatus getStatus() const;
    void setStatus(TransferStatus status);
    FailureReason getFailureReason() const;
    void setFailureReason(FailureReason reason);

    bool operator==(const MFileTransferItem& other) const;
    bool operator!=(const MFileTransferItem& other) const { return !(*this == other); }

private:
    QString m_id;
    QString m_userId;
    QString m_fileId;
    bool m_isDownload = false;
    QString m_localPath;
    QString m_remoteParentPath;
    QString m_remotePath;
    qint64 m_size = 0;
    qint64 m_bytesCompleted = 0;
    QString m_workspaceId;
    QDateTime m_createTime;
    QDateTime m_updateTime;
    TransferStatus m_status = Waiting;
    FailureReason m_failureReason = NoFailure;
};

} // namespace Trelan::Oku::ZYRModel

Q_DECLARE_METATYPE(Trelan::Oku::ZYRModel::MFileTransferItem*)
