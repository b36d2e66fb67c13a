// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

#include <ZYRCommon/TransferItemDBManager.h>
#include <ZYRController/BFileCacheManager.h>
#include <ZYRController/BTimings.h>
#include <ZYRModel/MFile.h>
#include <ZYRModel/MFileCacheItem.h>
#include <ZYRModel/MFileTransferItem.h>

#include <QFileInfo>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QSharedPointer>
#include <QString>
#include <QTimer>
#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

class BFileTransferWorker;
class BReplyHandlerBase;

/// The upload and download queue of one signed-in user. Turns local paths
/// and cloud files into one MFileTransferItem per file, runs at most
/// MAX_THREAD_COUNT workers at once, re-emits their progress per whole
/// percent, measures the overall speed and keeps the records in the transfer
/// store (writes batched every few seconds). The manager owns the records of
/// both lists; the signals hand out pointers that stay valid while a record
/// is in a list. Lives on the thread that made it (the UI thread).
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
    // A running worker's place in the queue. The worker deletes itself when
    // its thread ends, so it is only reached through the guard. A finished
    // upload's slot is released only after its file path has been asked
    // for, usually after the worker is gone: the slot then still knows the
    // worker's address (never dereferenced) to match that late report.
    struct WorkerSlot {
        Trelan::Oku::ZYRModel::MFileTransferItem* item;
        QPointer<BFileTransferWorker> worker;
        BFileTransferWorker* identity;
        bool awaitingPath;
    };
    using ItemList = QList<Trelan::Oku::ZYRModel::MFileTransferItem*>;

    void init();
    void clear();
    void loadItemsFromDB();

    ItemList uploadImpl(const QList<QString>& localPaths, const QString& workspaceId, const QString& remoteParentPath);
    ItemList uploadImpl(const QString& localPath, const QString& workspaceId, const QString& remoteParentPath,
                        const QString& newName);
    Trelan::Oku::ZYRModel::MFileTransferItem* uploadFile(const QFileInfo& info, const QString& workspaceId,
                                                         const QString& remoteParentPath, const QString& newName);
    ItemList uploadFolder(const QFileInfo& info, const QString& workspaceId, const QString& remoteParentPath,
                          const QString& newName);
    void downloadFile(const QSharedPointer<Trelan::Oku::ZYRModel::MFile>& file, const QString& localDir,
                      const QString& newName);
    void downloadFolder(const QSharedPointer<Trelan::Oku::ZYRModel::MFile>& folder, const QString& localDir,
                        const QString& newName);
    Trelan::Oku::ZYRModel::MFileTransferItem* newItem(bool isDownload, const QString& workspaceId) const;
    void enqueue(Trelan::Oku::ZYRModel::MFileTransferItem* item);

    void tryStartTransferWorker(bool includeInterrupted);
    void stopWorker(Trelan::Oku::ZYRModel::MFileTransferItem* item);
    void stopAllWorkers();
    bool hasWorker(BFileTransferWorker* worker) const;
    void removeWorker(BFileTransferWorker* worker, Trelan::Oku::ZYRModel::MFileTransferItem* item);
    void trackRequest(BReplyHandlerBase* handler);
    void removeAndDelete(Trelan::Oku::ZYRModel::MFileTransferItem* item);
    void updateSpeedTimerStatus();

    // Store access, batched or immediate; all no-ops unless persisting.
    void addItemToDB(Trelan::Oku::ZYRModel::MFileTransferItem* item, bool batched);
    void updateItemInDB(Trelan::Oku::ZYRModel::MFileTransferItem* item, bool batched);
    void addItemsToDB(const ItemList& items);
    void updateItemsInDB(const ItemList& items);
    void removeItemFromDB(Trelan::Oku::ZYRModel::MFileTransferItem* item);
    void removeItemsFromDB(const ItemList& items);
    void removeItemFromCache(Trelan::Oku::ZYRModel::MFileTransferItem* item);
    void removeItemsFromCache(const ItemList& items);
    void removeAllCachedItems();
    void startDBOperationTimer();

    QString m_userId;
    QString m_userName;
    QString m_accessToken;
    ItemList m_unfinishedItems;
    ItemList m_finishedItems;
    QList<WorkerSlot> m_workers;
    // Requests issued by the queue itself, cancelled when it is destroyed so
    // that no reply calls back into a deleted queue.
    QList<QPointer<BReplyHandlerBase>> m_requests;
    const bool m_persist;
    Trelan::Oku::ZYRCommon::TransferItemDBManager m_store;
    BFileCacheManager m_cacheManager;
    int m_byteSpeed = 0;
    int m_speedCounter = 0;
    qint64 m_progressCounter = 0;
    QTimer m_speedTimer;
    QList<QSharedPointer<Trelan::Oku::ZYRModel::MFile>> m_pendingFolders;
    ItemList m_pendingInserts;
    ItemList m_pendingUpdates;
    QList<Trelan::Oku::ZYRModel::MFileCacheItem> m_pendingCacheItems;
    QTimer m_dbTimer;
    BTimings m_timings;
};

} // namespace Trelan::Oku::ZYRController
