// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

#include <ZYRModel/MFileTransferItem.h>

#include <QSet>
#include <QString>
#include <QThread>
#include <memory>

namespace Trelan::Oku::ZYRController {

class BReplyHandlerBase;
class BFileBackupWorkerPrivate;

/// Copies the files of chosen workspaces into a local backup directory, in
/// a thread of its own with its own event loop, transfer queue (not
/// persisted) and cache manager, so that a backup neither shows in nor
/// disturbs the user's transfer list. Runs once and reports with
/// backupFinished(). Layout: <backup dir>/<user id>_<display name>/
/// <workspace id>_<workspace name>/ and below it the workspace's tree; the
/// backup mirrors the server, so local entries the server no longer lists
/// are removed (never anything outside the backup directory).
///
/// The object lives on the thread that made it; all work happens on the
/// backup thread. It does not delete itself: connect finished() to
/// deleteLater() when the view does not keep it.
class ZYRCONTROLLER_EXPORT BFileBackupWorker : public QThread {
    Q_OBJECT
public:
    /// Failed start-up queries (user, then workspaces) are sent again at
    /// most this many times in all.
    static constexpr int MAX_RETRY_COUNT = 10;

    explicit BFileBackupWorker(QObject* parent = nullptr);
    BFileBackupWorker(const QString& userId, const QString& accessToken, const QString& backupDir,
                      const QSet<QString>& workspaceIds, QObject* parent = nullptr);
    /// Ends a running backup (reported as failed) and waits for its thread.
    ~BFileBackupWorker() override;

    // Ignored while the thread runs.
    void setUserId(const QString& userId);
    void setAccessToken(const QString& accessToken);
    void setBackupDir(const QString& backupDir);
    void setWorkspaceIdsToBackup(const QSet<QString>& workspaceIds);
    /// The local folder of a workspace, instead of the one found or made
    /// below the user folder. Ignored while the thread runs.
    void addWorkspaceSyncPath(const QString& workspaceId, const QString& path);
    /// Empty for a workspace without a local folder. The backup thread fills
    /// and renames these: read them while it does not run.
    QString GetWorkspaceSyncPath(const QString& workspaceId) const;

    /// "<id>_<name>": \a id with "%" and "_" written as "%25" and "%5F", so
    /// that the first "_" always ends the id, then \a name with separators
    /// and control characters replaced by "_". Just the encoded id when the
    /// name is empty or still not a safe file name; the bare \a name when
    /// \a id is empty. Empty when the result would not be a safe name.
    static QString folderName(const QString& id, const QString& name);
    /// The folder of \a id directly in \a parentDir: the entry named
    /// folderName(id, name), else the first (by name) whose name is the
    /// encoded id or starts with it and "_", else a new folder of that name.
    /// Only real directories count (never a symbolic link). Empty when the
    /// names are unsafe or the folder cannot be made.
    static QString findOrCreateFolder(const QString& parentDir, const QString& id, const QString& name);

    // Reply callbacks, called on the backup thread through BActionFinishedCaller.
    virtual void onQueryUserInfoFinished(BReplyHandlerBase* handler);
    virtual void onQueryAllWorkspaceFinished(BReplyHandlerBase* handler);
    virtual void onQueryChildrenFinished(BReplyHandlerBase* handler);

Q_SIGNALS:
    /// Emitted from the backup thread when the run is over.
    void backupFinished(bool success);

public Q_SLOTS:
    // Connected on the backup thread to the backup's own transfer queue.
    void slotTransferItemStatusUpdated(Trelan::Oku::ZYRModel::MFileTransferItem* pFileTransferItem, int oldStatus,
                                       int newStatus);
    void slotTransferItemProgressUpdated(Trelan::Oku::ZYRModel::MFileTransferItem* pFileTransferItem);
    void slotTimeout();

protected:
    void run() override;

private:
    friend class BFileBackupWorkerPrivate;
    std::unique_ptr<BFileBackupWorkerPrivate> d;
};

} // namespace Trelan::Oku::ZYRController
