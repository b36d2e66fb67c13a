// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

#include <ZYRModel/MFile.h>
#include <ZYRModel/MFileTransferItem.h>

#include <QObject>
#include <QString>
#include <QWeakPointer>

#include <memory>

namespace Trelan::Oku::ZYRController {

class BTCloudManager;
class BReplyHandlerBase;
class BFileOpenManagerPrivate;

/// Opens a cloud file in the program the desktop associates with it and
/// sends the edited file back to the same cloud folder as a new version,
/// which then becomes the cached copy. It keeps a transfer queue and a cache
/// of its own, so that nothing of this shows in the user's transfer list.
/// The cloud manager makes one and deletes it; the open worker threads it
/// starts delete themselves. Lives on the thread that made it.
class ZYRCONTROLLER_EXPORT BFileOpenManager : public QObject {
    Q_OBJECT
public:
    /// One file on its way to a local program, or handed to one. Owned by
    /// whichever of the manager's two maps holds it.
    struct FileOpenItem {
        FileOpenItem() = default;
        /// A record whose folder is known (the flag is set).
        FileOpenItem(const QString& fileId, const QString& workspaceId, const QString& fileName,
                     const QString& localPath, const QString& remoteFolderPath);
        /// Sets the folder and the flag.
        void setRemoteFolderPath(const QString& path);

        QString fileId;
        QString workspaceId;
        QString fileName; ///< the cloud name, with extension
        QString localPath; ///< the copy handed to the program
        QString remoteFolderPath; ///< the upload target
        bool hasRemoteFolderPath = false;
    };

    /// \a userId goes to the private transfer queue; \a owner is not owned.
    BFileOpenManager(const QString& userId, BTCloudManager* owner);
    explicit BFileOpenManager(BTCloudManager* owner);
    ~BFileOpenManager() override;

    /// Starts opening \a file: fresh metadata, the cached copy or a
    /// download, then the local program. A folder or a gone file is ignored.
    void openFile(QWeakPointer<Trelan::Oku::ZYRModel::MFile> file);
    /// Stops an open whose download has not ended yet.
    void cancelOpenFile(const QString& fileId);
    bool hasUnfinishedTransferItem(bool isDownload) const;
    /// Bytes held in the cache directory.
    qint64 getCachedFileSize() const;
    /// Empties the cache directory and forgets its records.
    void clearAllCaches();
    void setAccessToken(const QString& accessToken);
    /// The user id (\a userId, with \a accessToken as the queue's
    /// setUserId() takes it) and the user's name.
    void setUserId(const QString& userId, const QString& accessToken, const QString& userName);

    // Reply callbacks (through BActionFinishedCaller).
    virtual void onQueryFileMetaFinished(BReplyHandlerBase* handler);
    virtual void onQueryFilePathFinished(BReplyHandlerBase* handler);

public Q_SLOTS:
    void slotTransferItemProgressUpdated(Trelan::Oku::ZYRModel::MFileTransferItem* pFileTransferItem);
    void slotTransferItemStatusUpdated(Trelan::Oku::ZYRModel::MFileTransferItem* pFileTransferItem, int oldStatus,
                                       int newStatus);
    void slotOpenFinished(bool success, bool modified, const QString& fileId);

Q_SIGNALS:
    /// The local program of \a fileId has ended (or, with \a success false,
    /// could not be started); \a modified when the file was changed. A
    /// changed file's upload has been queued (uploadModifiedFileStarted())
    /// before this is emitted.
    void openFinished(bool success, bool modified, const QString& fileId);
    void uploadModifiedFileStarted(const QString& fileName);
    void uploadModifiedFileFinished(bool success, const QString& localPath, const QString& workspaceId,
                                    const QString& remoteFolderPath);
    void uploadModifiedFileMetaAvailable(const QString& workspaceId, const QString& remoteFolderPath,
                                         Trelan::Oku::ZYRModel::MWeakFile newFile);
    void downloadFileStarted(const QString& fileId);
    void downloadFileProgressUpdated(const QString& fileId, bool statusOk, int progress);
    /// \a fileId carries the transfer's remote file name.
    void uploadFileProgressUpdated(const QString& fileId, bool statusOk, int progress);

private:
    std::unique_ptr<BFileOpenManagerPrivate> d;
};

} // namespace Trelan::Oku::ZYRController
