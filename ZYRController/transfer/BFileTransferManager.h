// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

#include <ZYRModel/MFile.h>
#include <ZYRModel/MFileTransferItem.h>

#include <QList>
#include <QObject>
#include <QString>
#include <QWeakPointer>
#include <memory>

namespace Trelan::Oku::ZYRController {

class BFileTransferManagerPrivate;
class BFileTransferWorker;
class BReplyHandlerBase;

/// The upload and download queue of one signed-in user. Turns local paths
/// and cloud files into one MFileTransferItem per file, runs at most
/// MAX_THREAD_COUNT workers at once, re-emits their progress per whole
/// percent, measures the overall speed and keeps the records in the transfer
/// store (new records at once, changes batched every few seconds). The
/// manager owns the records of both lists; the signals hand out pointers
/// that stay valid while a record is in a list. Lives on the thread that
/// made it (the UI thread).
///
/// Every name from the server that becomes part of a local path passes
/// FileUtils::checkLocalName(): a file or folder whose name fails it gets a
/// Failed record (MFileTransferItem::UnsafeName) without a local path, so
/// nothing is ever written outside the folder a download was given.
class ZYRCONTROLLER_EXPORT BFileTransferManager : public QObject {
    Q_OBJECT
public:
    static constexpr int MAX_THREAD_COUNT = 5;
    /// How many finished records loadItemsFromDB() reads at most.
    static constexpr int MAX_FINISHED_LOADED = 200;

    /// With \a persist false nothing is read from or written to the store.
    BFileTransferManager(const QString& userId, bool persist);
    explicit BFileTransferManager(bool persist);
    ~BFileTransferManager() override;

    void upload(const QList<QString>& localPaths, const QString& workspaceId, const QString& remoteParentPath);
    void upload(const QString& localPath, const QString& workspaceId, const QString& remoteParentPath,
                const QString& newName);
    void download(const QList<QWeakPointer<Trelan::Oku::ZYRModel::MFile>>& files, const QString& localDir);
    void download(QWeakPointer<Trelan::Oku::ZYRModel::MFile> file, const QString& localDir, const QString& newName);

    bool retryItem(Trelan::Oku::ZYRModel::MFileTransferItem* item);
    void retryFailedItems();
    bool removeItem(Trelan::Oku::ZYRModel::MFileTransferItem* item);
    bool removeUnfinishedItem(const QString& fileId, bool downloadsOnly, bool all);
    void removeUnfinishedItems();
    void removeFinishedItems();
    void removeAllItems();

    const QList<Trelan::Oku::ZYRModel::MFileTransferItem*>& getUnfinishedItems() const;
    const QList<Trelan::Oku::ZYRModel::MFileTransferItem*>& getFinishedItems() const;
    /// Smoothed bytes per second of all running transfers.
    int getTransferByteSpeed() const;
    void resetTransferByteSpeed();
    /// Workers holding a slot (a slot of a failed upload stays taken).
    int runningWorkerCount() const;

    void setAccessToken(const QString& accessToken);
    void setUserId(const QString& userId, const QString& accessToken);
    void setUserName(const QString& userName);
    const QString& getUserId() const;
    const QString& getUserName() const;

    /// "parent/name" with "/" separators; \a newName wins over \a name.
    static QString generateTargetPath(const QString& parentPath, const QString& name, const QString& newName);

    // Reply callbacks (through BActionFinishedCaller).
    virtual void onQueryChildrenFinished(BReplyHandlerBase* handler);
    virtual void onQueryFilePathByIdFinished(BReplyHandlerBase* handler);

Q_SIGNALS:
    void transferItemUpdated(Trelan::Oku::ZYRModel::MFileTransferItem* pFileTransferItem);
    void transferItemProgressUpdated(Trelan::Oku::ZYRModel::MFileTransferItem* pFileTransferItem);
    void transferItemStatusUpdated(Trelan::Oku::ZYRModel::MFileTransferItem* pFileTransferItem, int oldStatus,
                                   int newStatus);
    void transferItemSizeUpdated(Trelan::Oku::ZYRModel::MFileTransferItem* pFileTransferItem);
    void transferItemAdded(Trelan::Oku::ZYRModel::MFileTransferItem* pFileTransferItem);
    void loadTransferItemsFromDBFinished(bool success);
    void fileUploaded(const QString& workspaceId, const QString& remotePath);
    void fillRemoteInfoFinished(Trelan::Oku::ZYRController::BFileTransferWorker* pWorker,
                                Trelan::Oku::ZYRModel::MFileTransferItem* pFileTransferItem, int status,
                                QString fileId);

public Q_SLOTS:
    void slotUpdateTransferProgress(Trelan::Oku::ZYRModel::MFileTransferItem* pFileTransferItem,
                                    qint64 bytesTransferedOffset, qint64 bytesTransfered, qint64 bytesTotal);
    void slotFillRemoteInfo(Trelan::Oku::ZYRController::BFileTransferWorker* pWorker,
                            Trelan::Oku::ZYRModel::MFileTransferItem* pFileTransferItem, int status, QString fileId);
    void slotWorkerFinished(Trelan::Oku::ZYRController::BFileTransferWorker* pWorker,
                            Trelan::Oku::ZYRModel::MFileTransferItem* pFileTransferItem, int status, QString fileId);
    void slotCacheFile(QString fileId, QString digest, QString localPath);
    void slotTransferItemProgressUpdated(Trelan::Oku::ZYRModel::MFileTransferItem* pFileTransferItem);
    void slotTransferItemStatusUpdated(Trelan::Oku::ZYRModel::MFileTransferItem* pFileTransferItem, int oldStatus,
                                       int newStatus);
    void slotSpeedCheckTimerTriggered();
    void executeDBOperation();

private:
    friend class BFileTransferManagerPrivate;
    std::unique_ptr<BFileTransferManagerPrivate> d;
};

} // namespace Trelan::Oku::ZYRController
