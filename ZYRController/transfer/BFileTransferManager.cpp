// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BFileTransferManager.h>

#include <ZYRCommon/FileUtils.h>
#include <ZYRController/BActionFinishedCaller.h>
#include <ZYRController/BFileTransferWorker.h>
#include <ZYRController/BQueryChildrenHandler.h>
#include <ZYRController/BQueryFilePathHandler.h>
#include <ZYRService/ZYRDocument.h>

#include <QDateTime>
#include <QDir>
#include <QLoggingCategory>
#include <QThread>
#include <QUuid>
#include <algorithm>
#include <limits>

Q_LOGGING_CATEGORY(lcTransfer, "zyr.controller.transfer", QtWarningMsg)

namespace Trelan::Oku::ZYRController {

using Trelan::Oku::ZYRCommon::FileUtils;
using Trelan::Oku::ZYRModel::MFile;
using Trelan::Oku::ZYRModel::MFileCacheItem;
using Trelan::Oku::ZYRModel::MFileTransferItem;
using Trelan::Oku::ZYRService::ZYRDocument;
using Caller = BActionFinishedCaller<BFileTransferManager>;

namespace {
int clampToInt(qint64 value)
{
    return static_cast<int>(
            qBound(qint64(std::numeric_limits<int>::min()), value, qint64(std::numeric_limits<int>::max())));
}
} // namespace

BFileTransferManager::BFileTransferManager(const QString& userId, bool persist)
    : m_userId(userId), m_persist(persist), m_store(QString(), QString()), m_timings(BTimings::current())
{
    init();
    loadItemsFromDB();
}

BFileTransferManager::BFileTransferManager(bool persist)
    : m_persist(persist), m_store(QString(), QString()), m_timings(BTimings::current())
{
    init();
}

BFileTransferManager::~BFileTransferManager()
{
    // A cancelled handler never calls its owner back.
    for (const QPointer<BReplyHandlerBase>& handler : std::as_const(m_requests)) {
        if (handler)
            handler->slotCancel();
    }
    clear();
}

void BFileTransferManager::init()
{
    m_byteSpeed = 0;
    m_speedCounter = 0;
    m_progressCounter = 0;
    m_speedTimer.setInterval(m_timings.speedTickMs);
    m_dbTimer.setInterval(m_timings.dbFlushIntervalMs);
    connect(&m_speedTimer, &QTimer::timeout, this, &BFileTransferManager::slotSpeedCheckTimerTriggered);
    connect(this, &BFileTransferManager::transferItemStatusUpdated, this,
            &BFileTransferManager::slotTransferItemStatusUpdated);
    connect(this, &BFileTransferManager::fillRemoteInfoFinished, this, &BFileTransferManager::slotWorkerFinished);
    connect(&m_dbTimer, &QTimer::timeout, this, &BFileTransferManager::executeDBOperation);
}

// ---- accessors ---------------------------------------------------------------

const QList<MFileTransferItem*>& BFileTransferManager::getUnfinishedItems() const
{
    return m_unfinishedItems;
}

const QList<MFileTransferItem*>& BFileTransferManager::getFinishedItems() const
{
    return m_finishedItems;
}

int BFileTransferManager::getTransferByteSpeed() const
{
    return m_byteSpeed;
}

void BFileTransferManager::resetTransferByteSpeed()
{
    m_byteSpeed = 0;
}

int BFileTransferManager::runningWorkerCount() const
{
    return static_cast<int>(m_workers.size());
}

void BFileTransferManager::setAccessToken(const QString& accessToken)
{
    m_accessToken = accessToken;
}

void BFileTransferManager::setUserName(const QString& userName)
{
    m_userName = userName;
}

const QString& BFileTransferManager::getUserId() const
{
    return m_userId;
}

const QString& BFileTransferManager::getUserName() const
{
    return m_userName;
}

void BFileTransferManager::setUserId(const QString& userId, const QString& accessToken)
{
    const QString previous = m_userId;
    m_userId = userId;
    if (previous == userId)
        return;
    if (!previous.isEmpty()) {
        clear();
        m_accessToken = accessToken;
    }
    // With no previous user the token comes from setAccessToken(), on purpose.
    loadItemsFromDB();
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

MFileTransferItem* BFileTransferManager::newItem(bool isDownload, const QString& workspaceId) const
{
    auto* item = new MFileTransferItem;
    const QDateTime now = QDateTime::currentDateTime();
    item->setId(QUuid::createUuid().toString());
    item->setUserId(m_userId);
    item->setIsDownload(isDownload);
    item->setWorkspaceId(workspaceId);
    item->setBytesCompleted(0);
    item->setCreateTime(now);
    item->setUpdateTime(now);
    item->setStatus(MFileTransferItem::Waiting);
    return item;
}

void BFileTransferManager::enqueue(MFileTransferItem* item)
{
    m_unfinishedItems.append(item);
    Q_EMIT transferItemAdded(item);
}

void BFileTransferManager::upload(const QList<QString>& localPaths, const QString& workspaceId,
                                  const QString& remoteParentPath)
{
    addItemsToDB(uploadImpl(localPaths, workspaceId, remoteParentPath));
}

void BFileTransferManager::upload(const QString& localPath, const QString& workspaceId, const QString& remoteParentPath,
                                  const QString& newName)
{
    addItemsToDB(uploadImpl(localPath, workspaceId, remoteParentPath, newName));
}

BFileTransferManager::ItemList BFileTransferManager::uploadImpl(const QList<QString>& localPaths,
                                                                const QString& workspaceId,
                                                                const QString& remoteParentPath)
{
    ItemList items;
    for (const QString& path : localPaths)
        items += uploadImpl(path, workspaceId, remoteParentPath, QString());
    return items;
}

BFileTransferManager::ItemList BFileTransferManager::uploadImpl(const QString& localPath, const QString& workspaceId,
                                                                const QString& remoteParentPath, const QString& newName)
{
    const QFileInfo info(FileUtils::formatPath(localPath));
    if (!info.exists())
        return {};
    if (info.isDir())
        return uploadFolder(info, workspaceId, remoteParentPath, newName);
    if (info.isFile())
        return { uploadFile(info, workspaceId, remoteParentPath, newName) };
    return {};
}

MFileTransferItem* BFileTransferManager::uploadFile(const QFileInfo& info, const QString& workspaceId,
                                                    const QString& remoteParentPath, const QString& newName)
{
    MFileTransferItem* item = newItem(false, workspaceId);
    item->setLocalPath(info.absoluteFilePath());
    item->setRemoteParentPath(remoteParentPath);
    item->setRemotePath(generateTargetPath(remoteParentPath, info.fileName(), newName));
    item->setSize(info.size());
    enqueue(item);
    tryStartTransferWorker(false);
    return item;
}

BFileTransferManager::ItemList BFileTransferManager::uploadFolder(const QFileInfo& info, const QString& workspaceId,
                                                                  const QString& remoteParentPath,
                                                                  const QString& newName)
{
    const QDir dir(info.absoluteFilePath());
    QList<QString> entries;
    const QFileInfoList list = dir.entryInfoList(QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot, QDir::NoSort);
    for (const QFileInfo& entry : list)
        entries.append(entry.absoluteFilePath());
    const QString remoteFolder = generateTargetPath(remoteParentPath, dir.dirName(), newName);
    return uploadImpl(entries, workspaceId, remoteFolder);
}

void BFileTransferManager::download(const QList<QWeakPointer<MFile>>& files, const QString& localDir)
{
    if (files.isEmpty() || localDir.isEmpty())
        return;
    for (const QWeakPointer<MFile>& file : files)
        download(file, localDir, QString());
}

void BFileTransferManager::download(QWeakPointer<MFile> weakFile, const QString& localDir, const QString& newName)
{
    const QSharedPointer<MFile> file = weakFile.toStrongRef();
    if (!file || localDir.isEmpty())
        return;
    if (file->getIsFolder())
        downloadFolder(file, localDir, newName);
    else
        downloadFile(file, localDir, newName);
}

void BFileTransferManager::downloadFile(const QSharedPointer<MFile>& file, const QString& localDir,
                                        const QString& newName)
{
    MFileTransferItem* item = newItem(true, file->getWorkspaceId());
    item->setFileId(file->getId());
    item->setLocalPath(generateTargetPath(localDir, file->getFileName(), newName));
    // A download keeps only the file name: the request names the file by id.
    item->setRemotePath(file->getFileName());
    item->setSize(file->getSize());
    enqueue(item);
    addItemToDB(item, true);
    tryStartTransferWorker(false);
}

void BFileTransferManager::downloadFolder(const QSharedPointer<MFile>& folder, const QString& localDir,
                                          const QString& newName)
{
    auto copy = QSharedPointer<MFile>::create(*folder);
    copy->setLocalPath(generateTargetPath(localDir, folder->getFileName(), newName));
    m_pendingFolders.append(copy);

    auto* caller = new Caller(this, &BFileTransferManager::onQueryChildrenFinished, nullptr, nullptr);
    auto* handler = new BQueryChildrenHandler(caller, copy->getWorkspaceId(), copy);
    trackRequest(handler);
    ZYRDocument::GetChildFiles(m_accessToken, copy->getWorkspaceId(), copy->getId(), handler, false);
}

void BFileTransferManager::onQueryChildrenFinished(BReplyHandlerBase* handler)
{
    auto* children = qobject_cast<BQueryChildrenHandler*>(handler);
    if (!children)
        return;
    const QSharedPointer<MFile> folder = children->folder();
    // A folder that left the pending list (the queue was cleared) is dropped.
    if (!folder || !m_pendingFolders.contains(folder))
        return;
    if (children->isStatusOk()) {
        QList<QWeakPointer<MFile>> files;
        for (const QSharedPointer<MFile>& child : children->children())
            files.append(child);
        download(files, folder->getLocalPath());
    } else {
        qCInfo(lcTransfer) << "listing a folder to download failed with status" << children->statusCode();
    }
    m_pendingFolders.removeAll(folder);
}

// ---- scheduling ------------------------------------------------------------

void BFileTransferManager::tryStartTransferWorker(bool includeInterrupted)
{
    const int free = MAX_THREAD_COUNT - static_cast<int>(m_workers.size());
    if (free < 1)
        return;

    ItemList candidates;
    for (MFileTransferItem* item : std::as_const(m_unfinishedItems)) {
        const auto status = item->getStatus();
        if (status == MFileTransferItem::Waiting || (includeInterrupted && status == MFileTransferItem::Interrupted))
            candidates.append(item);
        if (candidates.size() >= free)
            break;
    }

    for (MFileTransferItem* item : std::as_const(candidates)) {
        auto* worker = new BFileTransferWorker(item, *item, m_accessToken);
        worker->setTimings(m_timings);
        connect(worker, &BFileTransferWorker::transferProgress, this,
                &BFileTransferManager::slotUpdateTransferProgress);
        connect(worker, &BFileTransferWorker::transferFinished, this, &BFileTransferManager::slotFillRemoteInfo);
        connect(worker, &BFileTransferWorker::cacheFile, this, &BFileTransferManager::slotCacheFile);
        connect(worker, &QThread::finished, worker, &QObject::deleteLater);
        worker->start(QThread::InheritPriority);
        item->setStatus(MFileTransferItem::Transferring);
        m_workers.append({ item, worker, worker, false });
    }
    if (!candidates.isEmpty())
        updateSpeedTimerStatus();
}

void BFileTransferManager::slotFillRemoteInfo(BFileTransferWorker* worker, MFileTransferItem* item, int status,
                                              QString fileId)
{
    // A report of a worker that left the queue (stopped, or the queue was
    // cleared) may carry a record that is gone: never look at it.
    if (!item || !hasWorker(worker))
        return;
    if (item->getIsDownload()) {
        Q_EMIT fillRemoteInfoFinished(worker, item, status, fileId);
        return;
    }
    // An upload's second report (thread end, no file id) changes nothing,
    // and a failed upload never carries a file id: that is deliberate.
    if (fileId.isEmpty())
        return;
    for (WorkerSlot& slot : m_workers) {
        if (slot.worker == worker)
            slot.awaitingPath = true;
    }
    auto* caller = new Caller(this, &BFileTransferManager::onQueryFilePathByIdFinished, nullptr, nullptr);
    auto* handler = new BQueryFilePathHandler(caller);
    handler->setTransferContext(worker, item, status, fileId);
    trackRequest(handler);
    ZYRDocument::GetFilePathById(m_accessToken, fileId, handler);
}

void BFileTransferManager::onQueryFilePathByIdFinished(BReplyHandlerBase* handler)
{
    auto* path = qobject_cast<BQueryFilePathHandler*>(handler);
    if (!path)
        return;
    MFileTransferItem* item = path->transferItem();
    // The record may have been removed while the path was asked for.
    if (path->isStatusOk() && !path->namePath().isEmpty() && m_unfinishedItems.contains(item)) {
        item->setRemotePath(QLatin1Char('/') + path->namePath());
        item->setRemoteParentPath(QLatin1Char('/') + path->parentNamePath());
    }
    Q_EMIT fillRemoteInfoFinished(path->worker(), item, path->transferStatus(), path->fileId());
}

void BFileTransferManager::slotWorkerFinished(BFileTransferWorker* worker, MFileTransferItem* item, int status,
                                              QString fileId)
{
    if (item && m_unfinishedItems.contains(item) && item->getStatus() != status) {
        const int oldStatus = item->getStatus();
        item->setStatus(static_cast<MFileTransferItem::TransferStatus>(status));
        item->setUpdateTime(QDateTime::currentDateTime());
        if (status == MFileTransferItem::Finished) {
            m_unfinishedItems.removeAll(item);
            m_finishedItems.append(item);
            if (!item->getIsDownload()) {
                if (!fileId.isEmpty())
                    item->setFileId(fileId);
                Q_EMIT fileUploaded(item->getWorkspaceId(), item->getRemotePath());
            }
        }
        // Deliberate pause after each completion.
        QThread::msleep(static_cast<unsigned long>(m_timings.completionPauseMs));
        Q_EMIT transferItemStatusUpdated(item, oldStatus, status);
    }
    removeWorker(worker, item);
    tryStartTransferWorker(false);
    updateSpeedTimerStatus();
}

void BFileTransferManager::slotUpdateTransferProgress(MFileTransferItem* item, qint64 offset, qint64 transferred,
                                                      qint64 total)
{
    m_speedCounter = clampToInt(qint64(m_speedCounter) + offset);
    m_progressCounter += offset;
    if (!item || !m_unfinishedItems.contains(item))
        return;

    item->setBytesCompleted(transferred);
    if (item->getIsDownload() && item->getSize() != total) {
        item->setSize(total);
        Q_EMIT transferItemSizeUpdated(item);
    }
    if (transferred >= total) {
        m_progressCounter = 0;
        Q_EMIT transferItemProgressUpdated(item);
    } else if (total > 0 && m_progressCounter * 100 / total >= 1) {
        // The counter is shared by all transfers while the divisor is this
        // item's size: a view is told at least once per percent of any item.
        m_progressCounter = 0;
        Q_EMIT transferItemProgressUpdated(item);
    }
}

// ---- retry and removal -----------------------------------------------------

bool BFileTransferManager::retryItem(MFileTransferItem* item)
{
    if (!item || !m_unfinishedItems.contains(item))
        return false;
    const int oldStatus = item->getStatus();
    const QDateTime now = QDateTime::currentDateTime();
    item->setCreateTime(now);
    item->setUpdateTime(now);
    item->setStatus(MFileTransferItem::Waiting);
    Q_EMIT transferItemStatusUpdated(item, oldStatus, MFileTransferItem::Waiting);
    tryStartTransferWorker(false);
    return true;
}

void BFileTransferManager::retryFailedItems()
{
    const QDateTime now = QDateTime::currentDateTime();
    const ItemList items = m_unfinishedItems;
    for (MFileTransferItem* item : items) {
        const int oldStatus = item->getStatus();
        item->setCreateTime(now);
        item->setUpdateTime(now);
        item->setStatus(MFileTransferItem::Waiting);
        Q_EMIT transferItemStatusUpdated(item, oldStatus, MFileTransferItem::Waiting);
    }
    tryStartTransferWorker(false);
}

bool BFileTransferManager::removeItem(MFileTransferItem* item)
{
    if (!item)
        return false;
    if (item->getStatus() != MFileTransferItem::Finished) {
        stopWorker(item);
        if (m_unfinishedItems.removeAll(item) == 0)
            return false;
    } else if (m_finishedItems.removeAll(item) == 0) {
        return false;
    }
    removeAndDelete(item);
    return true;
}

void BFileTransferManager::removeAndDelete(MFileTransferItem* item)
{
    // Out of the pending lists first, so a later batch never writes it back.
    removeItemFromCache(item);
    removeItemFromDB(item);
    delete item;
}

bool BFileTransferManager::removeUnfinishedItem(const QString& fileId, bool downloadsOnly, bool all)
{
    const ItemList items = m_unfinishedItems;
    for (MFileTransferItem* item : items) {
        if (item->getFileId() != fileId)
            continue;
        const auto status = item->getStatus();
        const bool keep = status == MFileTransferItem::Finished || status == MFileTransferItem::Failed
                || (downloadsOnly && !item->getIsDownload());
        if (!keep) {
            stopWorker(item);
            m_unfinishedItems.removeAll(item);
            removeAndDelete(item);
        }
        if (!all)
            break;
    }
    return true;
}

void BFileTransferManager::removeUnfinishedItems()
{
    stopAllWorkers();
    removeItemsFromCache(m_unfinishedItems);
    removeItemsFromDB(m_unfinishedItems);
    qDeleteAll(m_unfinishedItems);
    m_unfinishedItems.clear();
}

void BFileTransferManager::removeFinishedItems()
{
    removeItemsFromCache(m_finishedItems);
    removeItemsFromDB(m_finishedItems);
    qDeleteAll(m_finishedItems);
    m_finishedItems.clear();
}

void BFileTransferManager::removeAllItems()
{
    removeAllCachedItems();
    removeUnfinishedItems();
    removeFinishedItems();
}

void BFileTransferManager::stopWorker(MFileTransferItem* item)
{
    for (qsizetype i = 0; i < m_workers.size(); ++i) {
        if (m_workers.at(i).item != item)
            continue;
        if (BFileTransferWorker* worker = m_workers.at(i).worker)
            worker->stop();
        m_workers.removeAt(i);
        updateSpeedTimerStatus();
        return;
    }
}

void BFileTransferManager::stopAllWorkers()
{
    for (const WorkerSlot& slot : std::as_const(m_workers)) {
        if (BFileTransferWorker* worker = slot.worker)
            worker->stop();
    }
    m_workers.clear();
    updateSpeedTimerStatus();
}

bool BFileTransferManager::hasWorker(BFileTransferWorker* worker) const
{
    return std::any_of(m_workers.cbegin(), m_workers.cend(),
                       [worker](const WorkerSlot& slot) { return slot.worker == worker; });
}

void BFileTransferManager::removeWorker(BFileTransferWorker* worker, MFileTransferItem* item)
{
    // A worker that is gone matches only through a slot that waits for its
    // upload's path: a new worker may live at the old address by now.
    m_workers.removeIf([worker, item](const WorkerSlot& slot) {
        if (slot.item != item)
            return false;
        if (slot.worker)
            return slot.worker == worker;
        return slot.awaitingPath && slot.identity == worker;
    });
}

void BFileTransferManager::trackRequest(BReplyHandlerBase* handler)
{
    m_requests.removeAll(nullptr);
    m_requests.append(handler);
}

// ---- start-up and shutdown -------------------------------------------------

void BFileTransferManager::clear()
{
    executeDBOperation();
    m_dbTimer.stop();

    // Ending the thread without stop() keeps partial downloads for a resume.
    for (const WorkerSlot& slot : std::as_const(m_workers)) {
        if (BFileTransferWorker* worker = slot.worker)
            worker->exit(0);
    }
    m_workers.clear();
    updateSpeedTimerStatus();

    for (MFileTransferItem* item : std::as_const(m_unfinishedItems)) {
        if (item->getStatus() == MFileTransferItem::Transferring) {
            item->setStatus(MFileTransferItem::Interrupted);
            updateItemInDB(item, false);
        }
    }
    qDeleteAll(m_unfinishedItems);
    m_unfinishedItems.clear();
    qDeleteAll(m_finishedItems);
    m_finishedItems.clear();
    m_pendingFolders.clear();
}

void BFileTransferManager::loadItemsFromDB()
{
    if (!m_persist || m_userId.isEmpty())
        return;

    QList<MFileTransferItem> unfinished;
    if (m_store.getUnfinishedItems(m_userId, unfinished)) {
        for (const MFileTransferItem& record : std::as_const(unfinished)) {
            auto* item = new MFileTransferItem(record);
            if (item->getStatus() == MFileTransferItem::Transferring) {
                item->setStatus(MFileTransferItem::Interrupted);
                updateItemInDB(item, false);
            }
            m_unfinishedItems.append(item);
        }
    }

    QList<MFileTransferItem> finished;
    if (m_store.getFinishedItems(m_userId, finished, MAX_FINISHED_LOADED)) {
        for (const MFileTransferItem& record : std::as_const(finished))
            m_finishedItems.append(new MFileTransferItem(record));
    }

    if (!m_unfinishedItems.isEmpty())
        tryStartTransferWorker(true);
    Q_EMIT loadTransferItemsFromDBFinished(true);
}

// ---- persistence -----------------------------------------------------------

void BFileTransferManager::addItemToDB(MFileTransferItem* item, bool batched)
{
    if (!m_persist || !item)
        return;
    if (!batched) {
        m_store.insertItem(item);
        return;
    }
    if (m_pendingInserts.contains(item))
        return;
    m_pendingInserts.append(item);
    startDBOperationTimer();
}

void BFileTransferManager::updateItemInDB(MFileTransferItem* item, bool batched)
{
    if (!m_persist || !item)
        return;
    if (!batched) {
        m_store.updateItem(item);
        return;
    }
    if (m_pendingUpdates.contains(item))
        return;
    m_pendingUpdates.append(item);
    startDBOperationTimer();
}

void BFileTransferManager::addItemsToDB(const ItemList& items)
{
    if (m_persist && !items.isEmpty())
        m_store.insertItems(items);
}

void BFileTransferManager::updateItemsInDB(const ItemList& items)
{
    if (!m_persist || items.isEmpty())
        return;
    QList<MFileTransferItem> copies;
    copies.reserve(items.size());
    for (const MFileTransferItem* item : items)
        copies.append(*item);
    m_store.updateItems(copies);
}

void BFileTransferManager::removeItemFromDB(MFileTransferItem* item)
{
    if (m_persist && item)
        m_store.deleteItem(item);
}

void BFileTransferManager::removeItemsFromDB(const ItemList& items)
{
    if (m_persist && !items.isEmpty())
        m_store.deleteItems(items);
}

void BFileTransferManager::removeItemFromCache(MFileTransferItem* item)
{
    m_pendingInserts.removeAll(item);
    m_pendingUpdates.removeAll(item);
}

void BFileTransferManager::removeItemsFromCache(const ItemList& items)
{
    for (MFileTransferItem* item : items)
        removeItemFromCache(item);
}

void BFileTransferManager::removeAllCachedItems()
{
    m_pendingInserts.clear();
    m_pendingUpdates.clear();
}

void BFileTransferManager::startDBOperationTimer()
{
    if (m_dbTimer.isActive())
        return;
    // The first change after a quiet spell is written at once; later ones
    // gather for the next tick.
    executeDBOperation();
    m_dbTimer.start();
}

void BFileTransferManager::executeDBOperation()
{
    if (m_pendingInserts.isEmpty() && m_pendingUpdates.isEmpty() && m_pendingCacheItems.isEmpty()) {
        m_dbTimer.stop();
        return;
    }
    if (!m_pendingInserts.isEmpty()) {
        addItemsToDB(m_pendingInserts);
        m_pendingInserts.clear();
    }
    if (!m_pendingUpdates.isEmpty()) {
        updateItemsInDB(m_pendingUpdates);
        m_pendingUpdates.clear();
    }
    if (!m_pendingCacheItems.isEmpty()) {
        m_cacheManager.addCacheItems(m_pendingCacheItems);
        m_pendingCacheItems.clear();
    }
}

void BFileTransferManager::slotTransferItemStatusUpdated(MFileTransferItem* item, int, int)
{
    if (item)
        updateItemInDB(item, true);
}

void BFileTransferManager::slotTransferItemProgressUpdated(MFileTransferItem* item)
{
    if (item)
        updateItemInDB(item, true);
}

void BFileTransferManager::slotCacheFile(QString fileId, QString digest, QString localPath)
{
    MFileCacheItem record;
    BFileCacheManager::buildCacheItem(fileId, digest, localPath, record);
    m_pendingCacheItems.append(record);
    startDBOperationTimer();
}

// ---- speed -------------------------------------------------------------------

void BFileTransferManager::slotSpeedCheckTimerTriggered()
{
    const int interval = qMax(1, m_speedTimer.interval());
    // Computed in 64 bits: a fast local transfer overflows 32-bit bytes*1000.
    const int sample = clampToInt(qint64(m_speedCounter) * 1000 / interval);
    m_speedCounter = 0;
    m_byteSpeed = clampToInt((qint64(sample) + m_byteSpeed) / 2);
}

void BFileTransferManager::updateSpeedTimerStatus()
{
    if (m_workers.isEmpty()) {
        m_speedTimer.stop();
        m_byteSpeed = 0;
    } else if (!m_speedTimer.isActive()) {
        m_speedTimer.start();
        m_byteSpeed = 0;
    }
}

} // namespace Trelan::Oku::ZYRController
