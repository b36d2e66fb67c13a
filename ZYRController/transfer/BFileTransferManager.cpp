// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BFileTransferManager.h>
#include <ZYRController/BFileTransferManager_p.h>

#include <ZYRCommon/FileUtils.h>
#include <ZYRController/BActionFinishedCaller.h>
#include <ZYRController/BFileTransferWorker.h>
#include <ZYRController/BQueryChildrenHandler.h>
#include <ZYRController/BQueryFilePathHandler.h>
#include <ZYRService/ZYRDocument.h>

#include <QDateTime>
#include <QDir>
#include <QLoggingCategory>
#include <QScopedValueRollback>
#include <QThread>
#include <QUuid>

Q_LOGGING_CATEGORY(lcTransfer, "zyr.controller.transfer", QtWarningMsg)

namespace Trelan::Oku::ZYRController {

using Trelan::Oku::ZYRCommon::FileUtils;
using Trelan::Oku::ZYRModel::MFile;
using Trelan::Oku::ZYRModel::MFileCacheItem;
using Trelan::Oku::ZYRModel::MFileTransferItem;
using Trelan::Oku::ZYRService::ZYRDocument;
using Caller = BActionFinishedCaller<BFileTransferManager>;
using ItemList = BFileTransferManagerPrivate::ItemList;
using WorkerSlot = BFileTransferManagerPrivate::WorkerSlot;

BFileTransferManagerPrivate::BFileTransferManagerPrivate(BFileTransferManager* owner, const QString& user, bool persist)
    : q(owner), userId(user), timings(BTimings::current()), store(persist, timings.dbFlushIntervalMs),
      speed(timings.speedTickMs)
{
    QObject::connect(speed.timer(), &QTimer::timeout, q, &BFileTransferManager::slotSpeedCheckTimerTriggered);
    QObject::connect(q, &BFileTransferManager::transferItemStatusUpdated, q,
                     &BFileTransferManager::slotTransferItemStatusUpdated);
    QObject::connect(q, &BFileTransferManager::fillRemoteInfoFinished, q, &BFileTransferManager::slotWorkerFinished);
    QObject::connect(store.timer(), &QTimer::timeout, q, &BFileTransferManager::executeDBOperation);
}

BFileTransferManager::BFileTransferManager(const QString& userId, bool persist)
    : d(std::make_unique<BFileTransferManagerPrivate>(this, userId, persist))
{
    d->loadItemsFromDB();
}

BFileTransferManager::BFileTransferManager(bool persist)
    : d(std::make_unique<BFileTransferManagerPrivate>(this, QString(), persist))
{
}

BFileTransferManager::~BFileTransferManager()
{
    d->clear();
}

// ---- accessors ---------------------------------------------------------------

const QList<MFileTransferItem*>& BFileTransferManager::getUnfinishedItems() const
{
    return d->unfinishedItems;
}

const QList<MFileTransferItem*>& BFileTransferManager::getFinishedItems() const
{
    return d->finishedItems;
}

int BFileTransferManager::getTransferByteSpeed() const
{
    return d->speed.speed();
}

void BFileTransferManager::resetTransferByteSpeed()
{
    d->speed.reset();
}

int BFileTransferManager::runningWorkerCount() const
{
    return static_cast<int>(d->workers.size());
}

void BFileTransferManager::setAccessToken(const QString& accessToken)
{
    d->accessToken = accessToken;
}

void BFileTransferManager::setUserName(const QString& userName)
{
    d->userName = userName;
}

const QString& BFileTransferManager::getUserId() const
{
    return d->userId;
}

const QString& BFileTransferManager::getUserName() const
{
    return d->userName;
}

void BFileTransferManager::setUserId(const QString& userId, const QString& accessToken)
{
    const QString previous = d->userId;
    d->userId = userId;
    if (previous == userId)
        return;
    if (!previous.isEmpty()) {
        d->clear();
        d->accessToken = accessToken;
    }
    // With no previous user the token comes from setAccessToken(), on purpose.
    d->loadItemsFromDB();
}

QString BFileTransferManager::generateTargetPath(const QString& parentPath, const QString& name, const QString& newName)
{
    QString path = parentPath;
    path.replace(QLatin1Char('\\'), QLatin1Char('/'));
    if (!path.isEmpty() && !path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    path += newName.isEmpty() ? name : newName;
    return path;
}

// ---- building records --------------------------------------------------------

MFileTransferItem* BFileTransferManagerPrivate::newItem(bool isDownload, const QString& workspaceId) const
{
    auto* item = new MFileTransferItem;
    const QDateTime now = QDateTime::currentDateTime();
    item->setId(QUuid::createUuid().toString());
    item->setUserId(userId);
    item->setIsDownload(isDownload);
    item->setWorkspaceId(workspaceId);
    item->setBytesCompleted(0);
    item->setCreateTime(now);
    item->setUpdateTime(now);
    item->setStatus(MFileTransferItem::Waiting);
    return item;
}

void BFileTransferManagerPrivate::enqueue(MFileTransferItem* item)
{
    unfinishedItems.append(item);
    Q_EMIT q->transferItemAdded(item);
}

void BFileTransferManagerPrivate::storeAndStart(const ItemList& items)
{
    if (items.isEmpty())
        return;
    // In the store before any worker runs, so that a crash loses no record
    // and leaves no partial file without one.
    store.add(items);
    tryStartTransferWorker(false);
}

void BFileTransferManager::upload(const QList<QString>& localPaths, const QString& workspaceId,
                                  const QString& remoteParentPath)
{
    ItemList items;
    for (const QString& path : localPaths) {
        QSet<QString> visitedFolders;
        items += d->uploadPath(path, workspaceId, remoteParentPath, QString(), visitedFolders);
    }
    d->storeAndStart(items);
}

void BFileTransferManager::upload(const QString& localPath, const QString& workspaceId, const QString& remoteParentPath,
                                  const QString& newName)
{
    QSet<QString> visitedFolders;
    d->storeAndStart(d->uploadPath(localPath, workspaceId, remoteParentPath, newName, visitedFolders));
}

ItemList BFileTransferManagerPrivate::uploadPath(const QString& localPath, const QString& workspaceId,
                                                 const QString& remoteParentPath, const QString& newName,
                                                 QSet<QString>& visitedFolders)
{
    const QFileInfo info(FileUtils::formatPath(localPath));
    if (!info.exists())
        return {};
    if (info.isDir())
        return uploadFolder(info, workspaceId, remoteParentPath, newName, visitedFolders);
    if (info.isFile())
        return { uploadFile(info, workspaceId, remoteParentPath, newName) };
    return {};
}

MFileTransferItem* BFileTransferManagerPrivate::uploadFile(const QFileInfo& info, const QString& workspaceId,
                                                           const QString& remoteParentPath, const QString& newName)
{
    MFileTransferItem* item = newItem(false, workspaceId);
    item->setLocalPath(info.absoluteFilePath());
    item->setRemoteParentPath(remoteParentPath);
    item->setRemotePath(BFileTransferManager::generateTargetPath(remoteParentPath, info.fileName(), newName));
    item->setSize(info.size());
    enqueue(item);
    return item;
}

ItemList BFileTransferManagerPrivate::uploadFolder(const QFileInfo& info, const QString& workspaceId,
                                                   const QString& remoteParentPath, const QString& newName,
                                                   QSet<QString>& visitedFolders)
{
    // Each folder once, whatever way leads to it.
    const QString canonical = info.canonicalFilePath();
    if (visitedFolders.contains(canonical))
        return {};
    visitedFolders.insert(canonical);

    const QDir dir(info.absoluteFilePath());
    const QString remoteFolder = BFileTransferManager::generateTargetPath(remoteParentPath, dir.dirName(), newName);
    ItemList items;
    const QFileInfoList entries = dir.entryInfoList(QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot, QDir::NoSort);
    for (const QFileInfo& entry : entries) {
        // A link to a folder inside the chosen one is not followed: it may
        // lead back up (a loop) or anywhere on the disk.
        if (entry.isSymLink() && entry.isDir())
            continue;
        items += uploadPath(entry.absoluteFilePath(), workspaceId, remoteFolder, QString(), visitedFolders);
    }
    return items;
}

void BFileTransferManager::download(const QList<QWeakPointer<MFile>>& files, const QString& localDir)
{
    if (files.isEmpty() || localDir.isEmpty())
        return;
    ItemList items;
    for (const QWeakPointer<MFile>& file : files)
        items += d->download(file, localDir, QString());
    d->storeAndStart(items);
}

void BFileTransferManager::download(QWeakPointer<MFile> file, const QString& localDir, const QString& newName)
{
    d->storeAndStart(d->download(file, localDir, newName));
}

ItemList BFileTransferManagerPrivate::download(const QWeakPointer<MFile>& weakFile, const QString& localDir,
                                               const QString& newName)
{
    const File file = weakFile.toStrongRef();
    if (!file || localDir.isEmpty())
        return {};
    const QString name = newName.isEmpty() ? file->getFileName() : newName;
    if (!FileUtils::isSafeLocalName(name))
        return { unsafeNameRecord(file, name) };
    const QString localPath = BFileTransferManager::generateTargetPath(localDir, name, QString());
    if (file->getIsFolder()) {
        downloadFolder(file, localPath);
        return {};
    }
    return { downloadFile(file, localPath) };
}

MFileTransferItem* BFileTransferManagerPrivate::downloadFile(const File& file, const QString& localPath)
{
    MFileTransferItem* item = newItem(true, file->getWorkspaceId());
    item->setFileId(file->getId());
    item->setLocalPath(localPath);
    // A download keeps only the file name: the request names the file by id.
    item->setRemotePath(file->getFileName());
    item->setSize(file->getSize());
    enqueue(item);
    return item;
}

MFileTransferItem* BFileTransferManagerPrivate::unsafeNameRecord(const File& file, const QString& name)
{
    qCWarning(lcTransfer) << "not downloading" << file->getId() << "; its name cannot be a local name:" << name;
    MFileTransferItem* item = newItem(true, file->getWorkspaceId());
    item->setFileId(file->getId());
    // No local path at all: a worker started for it by a retry fails at once.
    item->setRemotePath(file->getFileName());
    item->setSize(file->getSize());
    item->setStatus(MFileTransferItem::Failed);
    item->setFailureReason(MFileTransferItem::UnsafeName);
    enqueue(item);
    return item;
}

void BFileTransferManagerPrivate::downloadFolder(const File& folder, const QString& localPath)
{
    auto copy = File::create(*folder);
    copy->setLocalPath(localPath);
    pendingFolders.append(copy);

    auto* caller = new Caller(q, &BFileTransferManager::onQueryChildrenFinished, nullptr, nullptr);
    auto* handler = new BQueryChildrenHandler(caller, copy->getWorkspaceId(), copy);
    track(handler, 0);
    ZYRDocument::GetChildFiles(accessToken, copy->getWorkspaceId(), copy->getId(), handler, false);
}

void BFileTransferManager::onQueryChildrenFinished(BReplyHandlerBase* handler)
{
    auto* children = qobject_cast<BQueryChildrenHandler*>(handler);
    if (!children)
        return;
    d->takeRequest(handler);
    const QSharedPointer<MFile> folder = children->folder();
    // A folder that left the pending list (the queue was cleared) is dropped.
    if (!folder || !d->pendingFolders.contains(folder))
        return;
    d->pendingFolders.removeAll(folder);
    if (!children->isStatusOk()) {
        qCInfo(lcTransfer) << "listing a folder to download failed with status" << children->statusCode();
        return;
    }
    ItemList items;
    for (const QSharedPointer<MFile>& child : children->children())
        items += d->download(child, folder->getLocalPath(), QString());
    d->storeAndStart(items);
}

// ---- scheduling ------------------------------------------------------------

void BFileTransferManagerPrivate::tryStartTransferWorker(bool includeInterrupted)
{
    const int free = BFileTransferManager::MAX_THREAD_COUNT - static_cast<int>(workers.size());
    if (free < 1)
        return;

    ItemList candidates;
    for (MFileTransferItem* item : std::as_const(unfinishedItems)) {
        const auto status = item->getStatus();
        if (status == MFileTransferItem::Waiting || (includeInterrupted && status == MFileTransferItem::Interrupted))
            candidates.append(item);
        if (candidates.size() >= free)
            break;
    }
    for (MFileTransferItem* item : std::as_const(candidates))
        startWorker(item);
    if (!candidates.isEmpty())
        updateSpeedTimerStatus();
}

void BFileTransferManagerPrivate::startWorker(MFileTransferItem* item)
{
    const quint64 ticket = ++lastTicket;
    auto* worker = new BFileTransferWorker(item, *item, accessToken);
    worker->setTimings(timings);
    // The record pointer a worker sends back is never used: its ticket says
    // whether the worker still holds a slot, and the slot names the record.
    QObject::connect(worker, &BFileTransferWorker::transferProgress, q,
                     [this, ticket](MFileTransferItem*, qint64 offset, qint64 transferred, qint64 total) {
                         if (WorkerSlot* slot = slotByTicket(ticket)) {
                             const QScopedValueRollback<quint64> report(reportTicket, ticket);
                             q->slotUpdateTransferProgress(slot->item, offset, transferred, total);
                         }
                     });
    QObject::connect(worker, &BFileTransferWorker::transferFailed, q, [this, ticket](MFileTransferItem*, int reason) {
        if (WorkerSlot* slot = slotByTicket(ticket))
            slot->reason = static_cast<MFileTransferItem::FailureReason>(reason);
    });
    QObject::connect(worker, &BFileTransferWorker::transferFinished, q,
                     [this, ticket](BFileTransferWorker* sender, MFileTransferItem*, int status, QString fileId) {
                         if (WorkerSlot* slot = slotByTicket(ticket)) {
                             const QScopedValueRollback<quint64> report(reportTicket, ticket);
                             q->slotFillRemoteInfo(sender, slot->item, status, fileId);
                         }
                     });
    QObject::connect(worker, &BFileTransferWorker::cacheFile, q, &BFileTransferManager::slotCacheFile);
    QObject::connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    worker->start(QThread::InheritPriority);
    item->setStatus(MFileTransferItem::Transferring);
    workers.append({ item, worker, worker, ticket, false, MFileTransferItem::NoFailure });
}

WorkerSlot* BFileTransferManagerPrivate::slotByTicket(quint64 ticket)
{
    for (WorkerSlot& slot : workers) {
        if (ticket != 0 && slot.ticket == ticket)
            return &slot;
    }
    return nullptr;
}

WorkerSlot* BFileTransferManagerPrivate::slotFor(BFileTransferWorker* worker, MFileTransferItem* item)
{
    if (reportTicket != 0) {
        WorkerSlot* slot = slotByTicket(reportTicket);
        return slot && slot->item == item ? slot : nullptr;
    }
    // A worker that is gone matches only through a slot that waits for its
    // upload's path: a new worker may live at the old address by now.
    for (WorkerSlot& slot : workers) {
        if (slot.item == item && slot.identity == worker && (slot.worker || slot.awaitingPath))
            return &slot;
    }
    return nullptr;
}

void BFileTransferManager::slotFillRemoteInfo(BFileTransferWorker* worker, MFileTransferItem* item, int status,
                                              QString fileId)
{
    // A report of a worker that left the queue (stopped, or the queue was
    // cleared) may carry a record that is gone: never look at it.
    WorkerSlot* slot = item ? d->slotFor(worker, item) : nullptr;
    if (!slot)
        return;
    if (item->getIsDownload()) {
        Q_EMIT fillRemoteInfoFinished(worker, item, status, fileId);
        return;
    }
    // An upload's second report (thread end, no file id) changes nothing,
    // and a failed upload never carries a file id: that is deliberate.
    if (fileId.isEmpty())
        return;
    slot->awaitingPath = true;
    auto* caller = new Caller(this, &BFileTransferManager::onQueryFilePathByIdFinished, nullptr, nullptr);
    auto* handler = new BQueryFilePathHandler(caller);
    handler->setTransferContext(worker, item, status, fileId);
    d->track(handler, slot->ticket);
    ZYRDocument::GetFilePathById(d->accessToken, fileId, handler);
}

void BFileTransferManager::onQueryFilePathByIdFinished(BReplyHandlerBase* handler)
{
    auto* path = qobject_cast<BQueryFilePathHandler*>(handler);
    if (!path)
        return;
    const quint64 ticket = d->takeRequest(handler);
    // The record was removed (and its slot freed) while the path was asked for.
    WorkerSlot* slot = d->slotByTicket(ticket);
    if (!slot)
        return;
    MFileTransferItem* item = slot->item;
    if (path->isStatusOk() && !path->namePath().isEmpty()) {
        item->setRemotePath(QLatin1Char('/') + path->namePath());
        item->setRemoteParentPath(QLatin1Char('/') + path->parentNamePath());
    }
    const QScopedValueRollback<quint64> report(d->reportTicket, ticket);
    Q_EMIT fillRemoteInfoFinished(path->worker(), item, path->transferStatus(), path->fileId());
}

void BFileTransferManager::slotWorkerFinished(BFileTransferWorker* worker, MFileTransferItem* item, int status,
                                              QString fileId)
{
    const WorkerSlot* slot = item ? d->slotFor(worker, item) : nullptr;
    const quint64 ticket = slot ? slot->ticket : 0;
    const MFileTransferItem::FailureReason reason
            = slot && slot->reason != MFileTransferItem::NoFailure ? slot->reason : MFileTransferItem::RequestFailed;
    if (item && d->unfinishedItems.contains(item) && item->getStatus() != status) {
        const int oldStatus = item->getStatus();
        item->setStatus(static_cast<MFileTransferItem::TransferStatus>(status));
        item->setFailureReason(status == MFileTransferItem::Failed ? reason : MFileTransferItem::NoFailure);
        item->setUpdateTime(QDateTime::currentDateTime());
        if (status == MFileTransferItem::Finished) {
            d->unfinishedItems.removeAll(item);
            d->finishedItems.append(item);
            if (!item->getIsDownload()) {
                if (!fileId.isEmpty())
                    item->setFileId(fileId);
                Q_EMIT fileUploaded(item->getWorkspaceId(), item->getRemotePath());
            }
        }
        // Deliberate pause after each completion.
        QThread::msleep(static_cast<unsigned long>(d->timings.completionPauseMs));
        Q_EMIT transferItemStatusUpdated(item, oldStatus, status);
    }
    // By ticket: a view may have changed the list while it was told.
    if (ticket != 0)
        d->workers.removeIf([ticket](const WorkerSlot& s) { return s.ticket == ticket; });
    d->tryStartTransferWorker(false);
    d->updateSpeedTimerStatus();
}

void BFileTransferManager::slotUpdateTransferProgress(MFileTransferItem* item, qint64 offset, qint64 transferred,
                                                      qint64 total)
{
    d->speed.count(offset);
    d->progressCounter += offset;
    if (!item || !d->unfinishedItems.contains(item))
        return;

    item->setBytesCompleted(transferred);
    if (item->getIsDownload() && item->getSize() != total) {
        item->setSize(total);
        Q_EMIT transferItemSizeUpdated(item);
    }
    if (transferred >= total) {
        d->progressCounter = 0;
        Q_EMIT transferItemProgressUpdated(item);
    } else if (total > 0 && d->progressCounter * 100 / total >= 1) {
        // The counter is shared by all transfers while the divisor is this
        // item's size: a view is told at least once per percent of any item.
        d->progressCounter = 0;
        Q_EMIT transferItemProgressUpdated(item);
    }
}

void BFileTransferManagerPrivate::updateSpeedTimerStatus()
{
    speed.setRunning(!workers.isEmpty());
}

// ---- retry and removal -----------------------------------------------------

bool BFileTransferManager::retryItem(MFileTransferItem* item)
{
    if (!item || !d->unfinishedItems.contains(item))
        return false;
    const int oldStatus = item->getStatus();
    const QDateTime now = QDateTime::currentDateTime();
    item->setCreateTime(now);
    item->setUpdateTime(now);
    item->setStatus(MFileTransferItem::Waiting);
    item->setFailureReason(MFileTransferItem::NoFailure);
    Q_EMIT transferItemStatusUpdated(item, oldStatus, MFileTransferItem::Waiting);
    d->tryStartTransferWorker(false);
    return true;
}

void BFileTransferManager::retryFailedItems()
{
    const QDateTime now = QDateTime::currentDateTime();
    const ItemList items = d->unfinishedItems;
    for (MFileTransferItem* item : items) {
        const int oldStatus = item->getStatus();
        item->setCreateTime(now);
        item->setUpdateTime(now);
        item->setStatus(MFileTransferItem::Waiting);
        item->setFailureReason(MFileTransferItem::NoFailure);
        Q_EMIT transferItemStatusUpdated(item, oldStatus, MFileTransferItem::Waiting);
    }
    d->tryStartTransferWorker(false);
}

bool BFileTransferManager::removeItem(MFileTransferItem* item)
{
    if (!item)
        return false;
    if (item->getStatus() != MFileTransferItem::Finished) {
        if (!d->unfinishedItems.contains(item))
            return false;
        d->stopWorkers(item);
        d->unfinishedItems.removeAll(item);
    } else if (d->finishedItems.removeAll(item) == 0) {
        return false;
    }
    d->removeAndDelete({ item });
    // A slot it held goes to the next waiting record.
    d->tryStartTransferWorker(false);
    return true;
}

bool BFileTransferManager::removeUnfinishedItem(const QString& fileId, bool downloadsOnly, bool all)
{
    const ItemList items = d->unfinishedItems;
    for (MFileTransferItem* item : items) {
        if (item->getFileId() != fileId)
            continue;
        const auto status = item->getStatus();
        const bool keep = status == MFileTransferItem::Finished || status == MFileTransferItem::Failed
                || (downloadsOnly && !item->getIsDownload());
        if (!keep) {
            d->stopWorkers(item);
            d->unfinishedItems.removeAll(item);
            d->removeAndDelete({ item });
        }
        if (!all)
            break;
    }
    d->tryStartTransferWorker(false);
    return true;
}

void BFileTransferManager::removeUnfinishedItems()
{
    d->stopAllWorkers();
    d->removeAndDelete(d->unfinishedItems);
    d->unfinishedItems.clear();
}

void BFileTransferManager::removeFinishedItems()
{
    d->removeAndDelete(d->finishedItems);
    d->finishedItems.clear();
}

void BFileTransferManager::removeAllItems()
{
    d->store.forgetAll();
    removeUnfinishedItems();
    removeFinishedItems();
}

void BFileTransferManagerPrivate::removeAndDelete(const ItemList& items)
{
    // Out of the pending changes first, so a later batch never writes them back.
    store.remove(items);
    qDeleteAll(items);
}

void BFileTransferManagerPrivate::stopWorkers(MFileTransferItem* item)
{
    const qsizetype before = workers.size();
    workers.removeIf([item](const WorkerSlot& slot) {
        if (slot.item != item)
            return false;
        if (BFileTransferWorker* worker = slot.worker)
            worker->stop();
        return true;
    });
    if (workers.size() != before)
        updateSpeedTimerStatus();
}

void BFileTransferManagerPrivate::stopAllWorkers()
{
    for (const WorkerSlot& slot : std::as_const(workers)) {
        if (BFileTransferWorker* worker = slot.worker)
            worker->stop();
    }
    workers.clear();
    updateSpeedTimerStatus();
}

void BFileTransferManagerPrivate::track(BReplyHandlerBase* handler, quint64 ticket)
{
    requests.removeIf([](const Request& request) { return !request.handler; });
    requests.append({ handler, ticket });
}

quint64 BFileTransferManagerPrivate::takeRequest(BReplyHandlerBase* handler)
{
    for (qsizetype i = 0; i < requests.size(); ++i) {
        if (requests.at(i).handler == handler) {
            const quint64 ticket = requests.at(i).ticket;
            requests.removeAt(i);
            return ticket;
        }
    }
    return 0;
}

void BFileTransferManagerPrivate::cancelRequests()
{
    // A cancelled handler never calls its owner back.
    const QList<Request> pending = std::exchange(requests, {});
    for (const Request& request : pending) {
        if (request.handler)
            request.handler->slotCancel();
    }
}

// ---- start-up and shutdown -------------------------------------------------

void BFileTransferManagerPrivate::clear()
{
    store.flush();
    store.stop();
    cancelRequests();

    // Ending the thread without stop() keeps partial downloads for a resume.
    for (const WorkerSlot& slot : std::as_const(workers)) {
        if (BFileTransferWorker* worker = slot.worker)
            worker->exit(0);
    }
    workers.clear();
    updateSpeedTimerStatus();

    for (MFileTransferItem* item : std::as_const(unfinishedItems)) {
        if (item->getStatus() == MFileTransferItem::Transferring) {
            item->setStatus(MFileTransferItem::Interrupted);
            store.update(item, false);
        }
    }
    qDeleteAll(unfinishedItems);
    unfinishedItems.clear();
    qDeleteAll(finishedItems);
    finishedItems.clear();
    pendingFolders.clear();
    progressCounter = 0;
}

void BFileTransferManagerPrivate::loadItemsFromDB()
{
    if (!store.persists() || userId.isEmpty())
        return;
    store.load(userId, BFileTransferManager::MAX_FINISHED_LOADED, unfinishedItems, finishedItems);
    for (MFileTransferItem* item : std::as_const(unfinishedItems)) {
        if (item->getStatus() == MFileTransferItem::Transferring) {
            item->setStatus(MFileTransferItem::Interrupted);
            store.update(item, false);
        }
    }
    if (!unfinishedItems.isEmpty())
        tryStartTransferWorker(true);
    Q_EMIT q->loadTransferItemsFromDBFinished(true);
}

// ---- persistence and speed ---------------------------------------------------

void BFileTransferManager::executeDBOperation()
{
    d->store.flush();
}

void BFileTransferManager::slotTransferItemStatusUpdated(MFileTransferItem* item, int, int)
{
    d->store.update(item, true);
}

void BFileTransferManager::slotTransferItemProgressUpdated(MFileTransferItem* item)
{
    d->store.update(item, true);
}

void BFileTransferManager::slotCacheFile(QString fileId, QString digest, QString localPath)
{
    MFileCacheItem record;
    BFileCacheManager::buildCacheItem(fileId, digest, localPath, record);
    d->store.addCacheItem(record);
}

void BFileTransferManager::slotSpeedCheckTimerTriggered()
{
    d->speed.tick();
}

} // namespace Trelan::Oku::ZYRController
