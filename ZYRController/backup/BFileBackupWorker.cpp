// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BFileBackupWorker.h>

#include <ZYRCommon/FileUtils.h>
#include <ZYRController/BActionFinishedCaller.h>
#include <ZYRController/BFileCacheManager.h>
#include <ZYRController/BFileTransferManager.h>
#include <ZYRController/BFileTransferWorker.h>
#include <ZYRController/BQueryAllWorkspaceHandler.h>
#include <ZYRController/BQueryChildrenHandler.h>
#include <ZYRController/BQueryUserInfoHandler.h>
#include <ZYRController/BTimings.h>
#include <ZYRModel/MFile.h>
#include <ZYRModel/MUser.h>
#include <ZYRModel/MWorkspace.h>
#include <ZYRService/ZYRAccount.h>
#include <ZYRService/ZYRDocument.h>
#include <ZYRService/ZYRWorkspace.h>

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QMap>
#include <QPair>
#include <QPointer>
#include <QTimer>
#include <algorithm>

Q_LOGGING_CATEGORY(lcBackup, "zyr.controller.backup", QtWarningMsg)

namespace Trelan::Oku::ZYRController {

using Trelan::Oku::ZYRCommon::FileUtils;
using Trelan::Oku::ZYRModel::MFile;
using Trelan::Oku::ZYRModel::MFileCacheItem;
using Trelan::Oku::ZYRModel::MFileTransferItem;
using Trelan::Oku::ZYRModel::MUser;
using Trelan::Oku::ZYRModel::MWorkspace;
using Trelan::Oku::ZYRService::ZYRAccount;
using Trelan::Oku::ZYRService::ZYRDocument;
using Trelan::Oku::ZYRService::ZYRWorkspace;
using Caller = BActionFinishedCaller<BFileBackupWorker>;

namespace {
const QLatin1String PartialSuffix(BFileTransferWorker::PartialSuffix);

bool isRealDir(const QFileInfo& info)
{
    return info.isDir() && !info.isSymLink();
}

bool isRegularFile(const QFileInfo& info)
{
    return info.isFile() && !info.isSymLink();
}
} // namespace

class BFileBackupWorkerPrivate {
public:
    // (workspace id, folder id); the empty folder id is the workspace's root.
    using FolderKey = QPair<QString, QString>;

    explicit BFileBackupWorkerPrivate(BFileBackupWorker* worker) : q(worker) { }

    void start();
    void clear();
    void track(BReplyHandlerBase* handler);
    void restartTimer();
    void retry(void (BFileBackupWorkerPrivate::*query)());
    void leaveLoop(bool success, bool rename);
    void exitWhenIdle();
    void onWorkerReported(BFileTransferWorker* worker);

    void queryUserInfo();
    void queryWorkspaces();
    void backupWorkspaces();
    void backupWorkspace(const QString& workspaceId);
    void queryFolderChildren();
    void backupFolder(const QString& localFolder, const QList<QSharedPointer<MFile>>& children);
    void backupFile(const QString& localFolder, const QSharedPointer<MFile>& file);
    void checkBackupFinished();
    void renameUserAndWorkspaceFolder();
    bool renameFolder(const QString& from, const QString& to);

    BFileBackupWorker* q;
    QString userId;
    QString accessToken;
    QString backupDir;
    QSet<QString> workspaceIds;

    QString displayName;
    QString userFolder;
    // Folders the view chose; a run starts its sync paths from them.
    QMap<QString, QString> chosenPaths;
    QMap<QString, QString> syncPaths;
    QMap<QString, QString> workspaceNames;
    QSet<QString> backedUpWorkspaces;
    // Folders still to list, with their local folder, in key order; the
    // one being listed stays in until its answer came.
    QMap<FolderKey, QString> folders;
    FolderKey currentFolder;
    // File id -> digest of the file when its download was queued.
    QMap<QString, QString> pendingDownloads;

    std::unique_ptr<BFileCacheManager> cacheManager;
    std::unique_ptr<BFileTransferManager> transferManager;
    std::unique_ptr<QTimer> timer;
    // Own requests in flight (each leaves the list in its callback),
    // cancelled when the run ends early.
    QList<QPointer<BReplyHandlerBase>> requests;
    // Transfer threads that reported to the queue; they live in the backup
    // thread and are waited for before it ends.
    QList<QPointer<BFileTransferWorker>> transferWorkers;
    BTimings timings;

    bool success = false;
    bool startedUp = false;
    bool listingFailed = false;
    bool ending = false;
    bool renameAtEnd = false;
    int retryCount = 0;
};

// ---- BFileBackupWorker -----------------------------------------------------------

BFileBackupWorker::BFileBackupWorker(QObject* parent)
    : QThread(parent), d(std::make_unique<BFileBackupWorkerPrivate>(this))
{
}

BFileBackupWorker::BFileBackupWorker(const QString& userId, const QString& accessToken, const QString& backupDir,
                                     const QSet<QString>& workspaceIds, QObject* parent)
    : BFileBackupWorker(parent)
{
    setUserId(userId);
    setAccessToken(accessToken);
    setBackupDir(backupDir);
    setWorkspaceIdsToBackup(workspaceIds);
}

BFileBackupWorker::~BFileBackupWorker()
{
    // A transfer still running then is ended by its queue's destructor.
    requestInterruption();
    exit(0);
    wait();
}

void BFileBackupWorker::setUserId(const QString& userId)
{
    if (!isRunning())
        d->userId = userId;
}

void BFileBackupWorker::setAccessToken(const QString& accessToken)
{
    if (!isRunning())
        d->accessToken = accessToken;
}

void BFileBackupWorker::setBackupDir(const QString& backupDir)
{
    if (!isRunning())
        d->backupDir = backupDir.isEmpty() ? QString() : FileUtils::formatPath(QFileInfo(backupDir).absoluteFilePath());
}

void BFileBackupWorker::setWorkspaceIdsToBackup(const QSet<QString>& workspaceIds)
{
    if (!isRunning())
        d->workspaceIds = workspaceIds;
}

void BFileBackupWorker::addWorkspaceSyncPath(const QString& workspaceId, const QString& path)
{
    if (isRunning() || workspaceId.isEmpty() || path.isEmpty())
        return;
    d->chosenPaths.insert(workspaceId, FileUtils::formatPath(QFileInfo(path).absoluteFilePath()));
    d->syncPaths.insert(workspaceId, d->chosenPaths.value(workspaceId));
}

QString BFileBackupWorker::GetWorkspaceSyncPath(const QString& workspaceId) const
{
    return d->syncPaths.value(workspaceId);
}

QString BFileBackupWorker::folderName(const QString& id, const QString& name)
{
    if (id.isEmpty())
        return FileUtils::isSafeLocalName(name) ? name : QString();
    QString key = id;
    key.replace(QLatin1Char('%'), QLatin1String("%25")).replace(QLatin1Char('_'), QLatin1String("%5F"));
    if (!FileUtils::isSafeLocalName(key))
        return QString();
    QString readable = name;
    for (QChar& c : readable) {
        if (c == QLatin1Char('/') || c == QLatin1Char('\\') || c.unicode() < 0x20 || c.unicode() == 0x7f)
            c = QLatin1Char('_');
    }
    const QString full = key + QLatin1Char('_') + readable;
    return !name.isEmpty() && FileUtils::isSafeLocalName(full) ? full : key;
}

QString BFileBackupWorker::findOrCreateFolder(const QString& parentDir, const QString& id, const QString& name)
{
    const QString wanted = folderName(id, name);
    if (wanted.isEmpty() || parentDir.isEmpty())
        return QString();
    const QDir parent(parentDir);
    QString found;
    if (!id.isEmpty()) {
        const QString key = folderName(id, QString());
        const QStringList entries
                = parent.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks | QDir::Hidden, QDir::Name);
        for (const QString& entry : entries) {
            if (entry == wanted) {
                found = entry;
                break;
            }
            if (found.isEmpty() && (entry == key || entry.startsWith(key + QLatin1Char('_'))))
                found = entry;
        }
    }
    if (found.isEmpty()) {
        const QFileInfo info(parent.filePath(wanted));
        // A file or a link in the way is left alone, and the folder is not made.
        if ((info.exists() || info.isSymLink()) && !isRealDir(info))
            return QString();
        if (!QDir().mkpath(info.filePath()))
            return QString();
        found = wanted;
    }
    return FileUtils::concat(FileUtils::formatPath(parentDir), found);
}

void BFileBackupWorker::run()
{
    d->start();
}

void BFileBackupWorker::onQueryUserInfoFinished(BReplyHandlerBase* handler)
{
    auto* info = qobject_cast<BQueryUserInfoHandler*>(handler);
    d->requests.removeAll(handler);
    if (!info || d->ending)
        return;
    d->restartTimer();
    const MUser* user = info->isStatusOk() ? info->takeUser(false) : nullptr;
    if (!user) {
        d->retry(&BFileBackupWorkerPrivate::queryUserInfo);
        return;
    }
    d->displayName = user->getDisplayName();
    d->userFolder = findOrCreateFolder(d->backupDir, d->userId, d->displayName);
    if (d->userFolder.isEmpty()) {
        qCWarning(lcBackup) << "no user folder in" << d->backupDir;
        d->leaveLoop(false, false);
        return;
    }
    d->queryWorkspaces();
}

void BFileBackupWorker::onQueryAllWorkspaceFinished(BReplyHandlerBase* handler)
{
    auto* list = qobject_cast<BQueryAllWorkspaceHandler*>(handler);
    d->requests.removeAll(handler);
    if (!list || d->ending)
        return;
    d->restartTimer();
    if (!list->isStatusOk()) {
        d->retry(&BFileBackupWorkerPrivate::queryWorkspaces);
        return;
    }
    d->startedUp = true;
    for (const MWorkspace* workspace : std::as_const(*list->workspaces()))
        d->workspaceNames.insert(workspace->getId(), workspace->getName());
    for (const QString& id : std::as_const(d->workspaceIds)) {
        if (!d->workspaceNames.contains(id) || d->syncPaths.contains(id))
            continue;
        const QString path = findOrCreateFolder(d->userFolder, id, d->workspaceNames.value(id));
        if (path.isEmpty())
            qCWarning(lcBackup) << "no local folder for workspace" << id;
        else
            d->syncPaths.insert(id, path);
    }
    d->backupWorkspaces();
}

void BFileBackupWorker::onQueryChildrenFinished(BReplyHandlerBase* handler)
{
    auto* children = qobject_cast<BQueryChildrenHandler*>(handler);
    d->requests.removeAll(handler);
    if (!children || d->ending)
        return;
    d->restartTimer();
    const QString localFolder = d->folders.take(d->currentFolder);
    if (children->isStatusOk()) {
        d->backupFolder(localFolder, children->children());
    } else {
        // Left as it is locally; the run goes on and ends as failed.
        qCWarning(lcBackup) << "listing a folder failed with status" << children->statusCode();
        d->listingFailed = true;
    }
    d->queryFolderChildren();
}

void BFileBackupWorker::slotTransferItemStatusUpdated(MFileTransferItem* item, int, int newStatus)
{
    d->restartTimer();
    if (!item || newStatus < MFileTransferItem::Finished)
        return;
    const QString fileId = item->getFileId();
    if (newStatus == MFileTransferItem::Finished && d->pendingDownloads.contains(fileId))
        d->cacheManager->addCacheItem(fileId, d->pendingDownloads.value(fileId), item->getLocalPath());
    // This queue never resumes a download, and a partial file at a target
    // would make every later run skip that file.
    if (newStatus != MFileTransferItem::Finished && d->pendingDownloads.contains(fileId))
        FileUtils::deleteFileOrDir(item->getLocalPath() + PartialSuffix);
    d->pendingDownloads.remove(fileId);
    if (!d->ending)
        d->checkBackupFinished();
}

void BFileBackupWorker::slotTransferItemProgressUpdated(MFileTransferItem*)
{
    // A long download is activity too.
    d->restartTimer();
}

void BFileBackupWorker::slotTimeout()
{
    if (d->ending)
        return;
    // A start-up query or listing in flight is outstanding as well.
    const bool nothingOutstanding
            = d->startedUp && !d->listingFailed && d->folders.isEmpty() && d->pendingDownloads.isEmpty();
    qCInfo(lcBackup) << "backup inactive; outstanding:" << d->folders.size() << "folders," << d->pendingDownloads.size()
                     << "downloads";
    d->leaveLoop(nothingOutstanding, true);
}

// ---- the run ---------------------------------------------------------------------

void BFileBackupWorkerPrivate::start()
{
    success = false;
    startedUp = listingFailed = ending = renameAtEnd = false;
    displayName.clear();
    userFolder.clear();
    syncPaths = chosenPaths;
    retryCount = 0;
    timings = BTimings::current();
    if (userId.isEmpty() || accessToken.isEmpty() || backupDir.isEmpty() || workspaceIds.isEmpty()) {
        // Nothing to back up counts as success, missing credentials as failure.
        Q_EMIT q->backupFinished(workspaceIds.isEmpty());
        return;
    }

    cacheManager = std::make_unique<BFileCacheManager>();
    transferManager = std::make_unique<BFileTransferManager>(userId, false);
    transferManager->setAccessToken(accessToken);
    // Direct: the queue and this code both run on the backup thread, while
    // the worker object itself lives on the thread that made it.
    QObject::connect(transferManager.get(), &BFileTransferManager::transferItemStatusUpdated, q,
                     &BFileBackupWorker::slotTransferItemStatusUpdated, Qt::DirectConnection);
    QObject::connect(transferManager.get(), &BFileTransferManager::transferItemProgressUpdated, q,
                     &BFileBackupWorker::slotTransferItemProgressUpdated, Qt::DirectConnection);
    // Connected after the queue's own slot, so it runs once the slot is free.
    QObject::connect(transferManager.get(), &BFileTransferManager::fillRemoteInfoFinished, transferManager.get(),
                     [this](BFileTransferWorker* worker) { onWorkerReported(worker); });

    timer = std::make_unique<QTimer>();
    timer->setSingleShot(true);
    QObject::connect(timer.get(), &QTimer::timeout, q, &BFileBackupWorker::slotTimeout, Qt::DirectConnection);

    queryUserInfo();
    restartTimer();
    q->exec();
    clear();
    Q_EMIT q->backupFinished(success);
}

void BFileBackupWorkerPrivate::clear()
{
    timer.reset();
    // Transfer threads end right after their last report; their objects
    // are deleted through this thread's events, which must run before it ends.
    for (const QPointer<BFileTransferWorker>& worker : std::as_const(transferWorkers)) {
        if (worker)
            worker->wait();
    }
    QCoreApplication::sendPostedEvents();
    transferWorkers.clear();
    transferManager.reset();
    cacheManager.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    requests.clear();
    folders.clear();
    pendingDownloads.clear();
    backedUpWorkspaces.clear();
    workspaceNames.clear();
}

void BFileBackupWorkerPrivate::track(BReplyHandlerBase* handler)
{
    requests.removeAll(nullptr);
    requests.append(handler);
}

void BFileBackupWorkerPrivate::restartTimer()
{
    if (timer && !ending)
        timer->start(timings.backupInactivityTimeoutMs);
}

void BFileBackupWorkerPrivate::retry(void (BFileBackupWorkerPrivate::*query)())
{
    if (retryCount >= BFileBackupWorker::MAX_RETRY_COUNT || q->isInterruptionRequested()) {
        qCWarning(lcBackup) << "giving up after" << retryCount << "retries";
        leaveLoop(false, false);
        return;
    }
    // Deliberately a plain sleep of the backup thread.
    QThread::msleep(static_cast<unsigned long>(timings.backupRetryDelayMs));
    ++retryCount;
    restartTimer();
    (this->*query)();
}

void BFileBackupWorkerPrivate::leaveLoop(bool result, bool rename)
{
    if (ending)
        return;
    ending = true;
    success = result;
    renameAtEnd = rename;
    timer->stop();
    // Only requests still in flight are listed: a finished one may already
    // have lost its reply while its handler waits for deletion.
    for (const QPointer<BReplyHandlerBase>& handler : std::as_const(requests)) {
        if (handler && !handler->isCancelled())
            handler->slotCancel();
    }
    // Nothing new starts; a transfer still running ends on its own reply or
    // inactivity timeout, and the loop is left once it has reported.
    const QList<MFileTransferItem*> items = transferManager->getUnfinishedItems();
    for (MFileTransferItem* item : items) {
        if (item->getStatus() == MFileTransferItem::Waiting)
            transferManager->removeItem(item);
    }
    exitWhenIdle();
}

void BFileBackupWorkerPrivate::exitWhenIdle()
{
    if (!ending || transferManager->runningWorkerCount() > 0)
        return;
    // Folders are renamed only once no transfer writes into them.
    if (renameAtEnd)
        renameUserAndWorkspaceFolder();
    renameAtEnd = false;
    q->exit(0);
}

void BFileBackupWorkerPrivate::onWorkerReported(BFileTransferWorker* worker)
{
    if (worker && !transferWorkers.contains(worker))
        transferWorkers.append(worker);
    exitWhenIdle();
}

// ---- start-up ----------------------------------------------------------------------

void BFileBackupWorkerPrivate::queryUserInfo()
{
    auto* handler = new BQueryUserInfoHandler(new Caller(q, &BFileBackupWorker::onQueryUserInfoFinished));
    track(handler);
    ZYRAccount::GetUserInfo(accessToken, handler);
}

void BFileBackupWorkerPrivate::queryWorkspaces()
{
    auto* handler
            = new BQueryAllWorkspaceHandler(new Caller(q, &BFileBackupWorker::onQueryAllWorkspaceFinished), false);
    track(handler);
    ZYRWorkspace::GetAllWorkspaces(accessToken, handler);
}

void BFileBackupWorkerPrivate::backupWorkspaces()
{
    QStringList ids(workspaceIds.cbegin(), workspaceIds.cend());
    std::sort(ids.begin(), ids.end());
    for (const QString& id : std::as_const(ids))
        backupWorkspace(id);
    queryFolderChildren();
}

void BFileBackupWorkerPrivate::backupWorkspace(const QString& workspaceId)
{
    const QString path = q->GetWorkspaceSyncPath(workspaceId);
    if (path.isEmpty())
        return;
    if (!QFileInfo(path).isDir() && !QDir().mkpath(path)) {
        qCWarning(lcBackup) << "cannot create" << path;
        return;
    }
    backedUpWorkspaces.insert(workspaceId);
    folders.insert({ workspaceId, QString() }, path);
}

// ---- folders and files -------------------------------------------------------------

void BFileBackupWorkerPrivate::queryFolderChildren()
{
    if (ending)
        return;
    if (folders.isEmpty()) {
        // Pending downloads end the run with the last status change.
        if (pendingDownloads.isEmpty())
            leaveLoop(!listingFailed, true);
        return;
    }
    currentFolder = folders.firstKey();
    auto* handler = new BQueryChildrenHandler(new Caller(q, &BFileBackupWorker::onQueryChildrenFinished),
                                              currentFolder.first);
    track(handler);
    ZYRDocument::GetChildFiles(accessToken, currentFolder.first, currentFolder.second, handler, false);
}

void BFileBackupWorkerPrivate::backupFolder(const QString& localFolder, const QList<QSharedPointer<MFile>>& children)
{
    // Only names that are safe as one local path element take part; any
    // other child is left out of the backup.
    QMap<QString, QSharedPointer<MFile>> byName;
    for (const QSharedPointer<MFile>& child : children) {
        if (FileUtils::isSafeLocalName(child->getFileName()))
            byName.insert(child->getFileName(), child);
        else
            qCWarning(lcBackup) << "left out a child with an unusable name:" << child->getFileName();
    }

    // Mirror: what the listing does not hold (or holds as the other kind)
    // goes, except the partial download of a listed file.
    const QDir dir(localFolder);
    const QStringList entries = dir.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& entry : entries) {
        const QFileInfo info(dir.filePath(entry));
        const QSharedPointer<MFile> child = byName.value(entry);
        bool keep;
        if (child) {
            keep = child->getIsFolder() ? isRealDir(info) : isRegularFile(info);
        } else {
            const QSharedPointer<MFile> listed = byName.value(entry.chopped(qMin(entry.size(), PartialSuffix.size())));
            keep = entry.endsWith(PartialSuffix) && listed && !listed->getIsFolder() && isRegularFile(info);
        }
        if (!keep && !FileUtils::deleteFileOrDir(info.filePath()))
            qCWarning(lcBackup) << "cannot remove" << info.filePath();
    }

    for (const QSharedPointer<MFile>& child : std::as_const(byName)) {
        const QString localPath = FileUtils::concat(localFolder, child->getFileName());
        if (!child->getIsFolder()) {
            backupFile(localFolder, child);
        } else if (QFileInfo(localPath).isDir() || QDir().mkpath(localPath)) {
            folders.insert({ child->getWorkspaceId(), child->getId() }, localPath);
        } else {
            qCWarning(lcBackup) << "cannot create" << localPath;
            listingFailed = true;
        }
    }
}

void BFileBackupWorkerPrivate::backupFile(const QString& localFolder, const QSharedPointer<MFile>& file)
{
    const QString name = file->getFileName();
    const QString target = FileUtils::concat(localFolder, name);
    // A partial download at the target: deliberately skipped.
    if (QFileInfo::exists(target + PartialSuffix))
        return;

    MFileCacheItem cached;
    if (cacheManager->getCacheItem(file, cached, localFolder, name)) {
        const QString copy = FileUtils::concat(cached.getLocalDir(), cached.getLocalName());
        if (FileUtils::formatPath(copy) == FileUtils::formatPath(target))
            return;
        FileUtils::deleteFileOrDir(target);
        if (FileUtils::copyFile(cached.getLocalDir(), cached.getLocalName(), localFolder, name, true) == name) {
            cacheManager->addCacheItem(file->getId(), file->getDigest(), target);
            return;
        }
        qCInfo(lcBackup) << "copying the cached" << copy << "failed; downloading instead";
    }

    FileUtils::deleteFileOrDir(target);
    transferManager->removeFinishedItems();
    pendingDownloads.insert(file->getId(), file->getDigest());
    transferManager->download(file, localFolder, name);
}

void BFileBackupWorkerPrivate::checkBackupFinished()
{
    if (!folders.isEmpty() || !pendingDownloads.isEmpty())
        return;
    leaveLoop(!listingFailed, true);
}

// ---- names ---------------------------------------------------------------------------

void BFileBackupWorkerPrivate::renameUserAndWorkspaceFolder()
{
    if (userFolder.isEmpty())
        return;
    for (const QString& id : std::as_const(backedUpWorkspaces)) {
        const QString current = syncPaths.value(id);
        // A folder the view chose stays where and as it is.
        if (chosenPaths.contains(id) || FileUtils::formatPath(QFileInfo(current).path()) != userFolder)
            continue;
        const QString name = BFileBackupWorker::folderName(id, workspaceNames.value(id));
        const QString wanted = FileUtils::concat(userFolder, name);
        if (!name.isEmpty() && wanted != current && renameFolder(current, wanted))
            syncPaths.insert(id, wanted);
    }
    const QString name = BFileBackupWorker::folderName(userId, displayName);
    const QString wanted = FileUtils::concat(backupDir, name);
    if (name.isEmpty() || wanted == userFolder || !renameFolder(userFolder, wanted))
        return;
    for (QString& path : syncPaths) {
        if (path.startsWith(userFolder + QLatin1Char('/')))
            path = wanted + path.mid(userFolder.size());
    }
    userFolder = wanted;
}

bool BFileBackupWorkerPrivate::renameFolder(const QString& from, const QString& to)
{
    const QFileInfo target(to);
    if (target.exists() || target.isSymLink() || !QDir().rename(from, to)) {
        qCWarning(lcBackup) << "cannot rename" << from << "to" << to;
        return false;
    }
    // The cache knows copies by their folder: move its records along, so
    // that the next run finds them current.
    cacheManager->updateCacheItemLocalDir(from, to);
    QDirIterator it(to, QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks | QDir::Hidden,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString dir = it.next();
        cacheManager->updateCacheItemLocalDir(from + dir.mid(to.size()), dir);
    }
    return true;
}

} // namespace Trelan::Oku::ZYRController
