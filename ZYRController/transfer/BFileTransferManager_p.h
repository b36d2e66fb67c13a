// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BFileTransferManager.h>
#include <ZYRController/BTimings.h>
#include <ZYRController/BTransferSpeedMeter_p.h>
#include <ZYRController/BTransferStoreBatcher_p.h>

#include <QFileInfo>
#include <QPointer>
#include <QSet>
#include <QSharedPointer>

namespace Trelan::Oku::ZYRController {

/// The state and inner workings of BFileTransferManager.
class BFileTransferManagerPrivate {
public:
    using Item = Trelan::Oku::ZYRModel::MFileTransferItem;
    using ItemList = QList<Item*>;
    using File = QSharedPointer<Trelan::Oku::ZYRModel::MFile>;

    // A running worker's place in the queue. Reports reach the queue through
    // the slot's ticket, a number never used twice, so a late report of a
    // worker that has left the queue finds nothing, even when its record's
    // or its own address has been taken by a new one. The worker deletes
    // itself when its thread ends and is only reached through the guard; a
    // finished upload's slot stays until the file's path has been asked for.
    struct WorkerSlot {
        Item* item;
        QPointer<BFileTransferWorker> worker;
        BFileTransferWorker* identity;
        quint64 ticket;
        bool awaitingPath;
        Item::FailureReason reason;
    };
    // A request of the queue itself, cancelled by clear().
    struct Request {
        QPointer<BReplyHandlerBase> handler;
        quint64 ticket;
    };

    BFileTransferManagerPrivate(BFileTransferManager* q, const QString& userId, bool persist);

    Item* newItem(bool isDownload, const QString& workspaceId) const;
    void enqueue(Item* item);
    /// Stores the records of one call in one transaction, then fills free slots.
    void storeAndStart(const ItemList& items);

    ItemList uploadPath(const QString& localPath, const QString& workspaceId, const QString& remoteParentPath,
                        const QString& newName, QSet<QString>& visitedFolders);
    Item* uploadFile(const QFileInfo& info, const QString& workspaceId, const QString& remoteParentPath,
                     const QString& newName);
    ItemList uploadFolder(const QFileInfo& info, const QString& workspaceId, const QString& remoteParentPath,
                          const QString& newName, QSet<QString>& visitedFolders);
    ItemList download(const QWeakPointer<Trelan::Oku::ZYRModel::MFile>& file, const QString& localDir,
                      const QString& newName);
    Item* downloadFile(const File& file, const QString& localPath);
    void downloadFolder(const File& folder, const QString& localPath);
    Item* unsafeNameRecord(const File& file, const QString& name);

    void tryStartTransferWorker(bool includeInterrupted);
    void startWorker(Item* item);
    WorkerSlot* slotByTicket(quint64 ticket);
    /// The slot a report is for: by the ticket of the report being handled,
    /// or, for a direct call of a public slot, by worker and record.
    WorkerSlot* slotFor(BFileTransferWorker* worker, Item* item);
    void stopWorkers(Item* item);
    void stopAllWorkers();
    void updateSpeedTimerStatus();

    void track(BReplyHandlerBase* handler, quint64 ticket);
    quint64 takeRequest(BReplyHandlerBase* handler);
    void cancelRequests();

    void removeAndDelete(const ItemList& items);
    void clear();
    void loadItemsFromDB();

    BFileTransferManager* const q;
    QString userId;
    QString userName;
    QString accessToken;
    ItemList unfinishedItems;
    ItemList finishedItems;
    QList<WorkerSlot> workers;
    QList<Request> requests;
    QList<File> pendingFolders;
    quint64 lastTicket = 0;
    quint64 reportTicket = 0;
    qint64 progressCounter = 0;
    const BTimings timings;
    BTransferStoreBatcher store;
    BTransferSpeedMeter speed;
};

} // namespace Trelan::Oku::ZYRController
