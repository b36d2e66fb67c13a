// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BFileOpenManager.h>

#include <ZYRCommon/ApplicationSettings.h>
#include <ZYRCommon/FileUtils.h>
#include <ZYRController/BActionFinishedCaller.h>
#include <ZYRController/BFileCacheManager.h>
#include <ZYRController/BFileOpenWorker.h>
#include <ZYRController/BFileTransferManager.h>
#include <ZYRController/BQueryFileMetaHandler.h>
#include <ZYRController/BTimings.h>
#include <ZYRService/ZYRDocument.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QMap>
#include <QPointer>
#include <QProcess>

#include <algorithm>

Q_LOGGING_CATEGORY(lcOpen, "zyr.controller.open", QtWarningMsg)

namespace Trelan::Oku::ZYRController {

using Trelan::Oku::ZYRCommon::ApplicationSettings;
using Trelan::Oku::ZYRCommon::FileUtils;
using Trelan::Oku::ZYRModel::MFile;
using Trelan::Oku::ZYRModel::MFileCacheItem;
using Trelan::Oku::ZYRModel::MFileTransferItem;
using Trelan::Oku::ZYRService::ZYRDocument;
using FileOpenItem = BFileOpenManager::FileOpenItem;
using Caller = BActionFinishedCaller<BFileOpenManager>;

namespace {

// The CAD viewer installed beside the application.
QString viewerProgram()
{
#ifdef Q_OS_WIN
    return QCoreApplication::applicationDirPath() + QStringLiteral("/qorcad/qorcad.exe");
#else
    return QCoreApplication::applicationDirPath() + QStringLiteral("/qorcad/qorcad");
#endif
}

// The name before its first dot; a name starting with its only dot is kept whole.
QString baseNameOf(const QString& fileName)
{
    const qsizetype dot = fileName.indexOf(QLatin1Char('.'));
    return dot >= 1 ? fileName.left(dot) : fileName;
}

} // namespace

BFileOpenManager::FileOpenItem::FileOpenItem(const QString& fileId, const QString& workspaceId, const QString& fileName,
                                             const QString& localPath, const QString& remoteFolderPath)
    : fileId(fileId), workspaceId(workspaceId), fileName(fileName), localPath(localPath),
      remoteFolderPath(remoteFolderPath), hasRemoteFolderPath(true)
{
}

void BFileOpenManager::FileOpenItem::setRemoteFolderPath(const QString& path)
{
    remoteFolderPath = path;
    hasRemoteFolderPath = true;
}

class BFileOpenManagerPrivate {
public:
    BFileOpenManagerPrivate(BFileOpenManager* q, BTCloudManager* owner, const QString& userId)
        : q(q), owner(owner), transfers(userId, false)
    {
    }
    BFileOpenManagerPrivate(BFileOpenManager* q, BTCloudManager* owner) : q(q), owner(owner), transfers(false) { }

    void init();
    void clear();
    void cancelRequests();
    void openFileImpl(const QSharedPointer<MFile>& file);
    void doOpenFile(const QString& fileId, const QString& localPath, qint64 revision);
    void startViewer(const QStringList& arguments);
    void startWorker(const QString& fileId, const QString& localPath);
    QString getCachedFile(const QSharedPointer<MFile>& file);
    FileOpenItem* getOpenedFile(const QString& remotePath) const;
    void removeFileToOpenItem(const QString& fileId);
    void removeFileOpenedItem(const QString& remotePath);
    static void replace(QMap<QString, FileOpenItem*>& map, const QString& fileId, FileOpenItem* item);
    void queryFileMeta(const QSharedPointer<MFile>& file);
    void queryFilePath(const QSharedPointer<MFile>& file);
    void queryFileMetaByPath(const QString& workspaceId, const QString& remotePath);
    void queryById(const QSharedPointer<MFile>& file, Caller::FinishedFunction finished, bool withPath);
    void track(BReplyHandlerBase* handler);

    BFileOpenManager* const q;
    BTCloudManager* const owner; // not owned
    QString cacheDirectory;
    QString accessToken;
    BFileCacheManager cache;
    BFileTransferManager transfers;
    QMap<QString, QString> pendingDigests;
    QMap<QString, FileOpenItem*> filesToOpen; // owned
    QMap<QString, FileOpenItem*> openedFiles; // owned
    // Requests in flight, cancelled when the manager goes, so that no reply
    // calls back into a deleted manager.
    QList<QPointer<BReplyHandlerBase>> requests;
    BTimings timings = BTimings::current();
};

void BFileOpenManagerPrivate::init()
{
    cacheDirectory = ApplicationSettings::fileCacheLocation();
    QObject::connect(&transfers, &BFileTransferManager::transferItemProgressUpdated, q,
                     &BFileOpenManager::slotTransferItemProgressUpdated);
    QObject::connect(&transfers, &BFileTransferManager::transferItemStatusUpdated, q,
                     &BFileOpenManager::slotTransferItemStatusUpdated);
}

void BFileOpenManagerPrivate::clear()
{
    qDeleteAll(filesToOpen);
    filesToOpen.clear();
    qDeleteAll(openedFiles);
    openedFiles.clear();
    pendingDigests.clear();
}

void BFileOpenManagerPrivate::cancelRequests()
{
    // A cancelled handler never calls its owner back.
    for (const QPointer<BReplyHandlerBase>& handler : std::as_const(requests)) {
        if (handler)
            handler->slotCancel();
    }
    requests.clear();
}

void BFileOpenManagerPrivate::replace(QMap<QString, FileOpenItem*>& map, const QString& fileId, FileOpenItem* item)
{
    FileOpenItem* previous = map.value(fileId);
    map.insert(fileId, item);
    if (previous != item)
        delete previous;
}

void BFileOpenManagerPrivate::openFileImpl(const QSharedPointer<MFile>& file)
{
    const QString fileId = file->getId();
    const QString cached = getCachedFile(file);
    if (!cached.isEmpty()) {
        doOpenFile(fileId, cached, file->getRevisionNumber());
        return;
    }

    // The private queue only ever holds the downloads under way.
    transfers.removeFinishedItems();
    const QString localName = FileUtils::generateUniqueName(cacheDirectory, file->getFileName());
    if (!FileUtils::isSafeLocalName(file->getFileName()) || !FileUtils::isSafeLocalName(localName)) {
        // Ends as a failed download would: the record goes, the view hears.
        qCWarning(lcOpen) << "a file name from the server cannot be used in the cache directory" << fileId;
        removeFileToOpenItem(fileId);
        Q_EMIT q->downloadFileProgressUpdated(fileId, false, 100);
        return;
    }
    transfers.download(file, cacheDirectory, localName);
    pendingDigests.insert(fileId, file->getDigest());
    Q_EMIT q->downloadFileStarted(fileId);
}

QString BFileOpenManagerPrivate::getCachedFile(const QSharedPointer<MFile>& file)
{
    MFileCacheItem item;
    if (!cache.getCacheItem(file, item, cacheDirectory, QString()))
        return QString();
    if (QDir(item.getLocalDir()) == QDir(cacheDirectory))
        return FileUtils::concat(item.getLocalDir(), item.getLocalName());

    // The current copy lies elsewhere (where the user downloaded it): the
    // program gets a copy in the cache directory, never the user's file.
    if (!FileUtils::isSafeLocalName(file->getFileName()))
        return QString();
    const QString copied
            = FileUtils::copyFile(item.getLocalDir(), item.getLocalName(), cacheDirectory, file->getFileName(), false);
    if (copied.isEmpty())
        return QString();
    const QString result = FileUtils::concat(cacheDirectory, copied);
    cache.addCacheItem(file->getId(), file->getDigest(), result);
    return result;
}

void BFileOpenManagerPrivate::doOpenFile(const QString& fileId, const QString& localPath, qint64 revision)
{
    if (!QFile::exists(localPath))
        return;

    QString workspaceId;
    QString baseName;
    if (FileOpenItem* item = filesToOpen.take(fileId)) {
        item->localPath = localPath;
        replace(openedFiles, fileId, item);
        workspaceId = item->workspaceId;
        baseName = baseNameOf(item->fileName);
    }

    if (FileUtils::getFileExtension(localPath, true).toLower() == QLatin1String(".dwg")) {
        // A revision of 0 (the value after a fresh download) goes as "1", deliberately.
        const QString revisionText = QString::number(revision == 0 ? 1 : revision, 10);
        startViewer({ localPath, accessToken, workspaceId, fileId, transfers.getUserId(), transfers.getUserName(),
                      baseName, revisionText });
    } else {
        startWorker(fileId, localPath);
    }
}

void BFileOpenManagerPrivate::startViewer(const QStringList& arguments)
{
    // The viewer deals with the service itself and is left alone: nobody
    // waits for it, and it outlives the manager. Its QProcess has no parent
    // and goes only once the viewer has ended.
    auto* viewer = new QProcess;
    QObject::connect(viewer, &QProcess::finished, viewer, &QObject::deleteLater);
    QObject::connect(viewer, &QProcess::errorOccurred, viewer, [viewer](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            qCWarning(lcOpen) << "cannot start the CAD viewer" << viewer->errorString();
            viewer->deleteLater();
        }
    });
    viewer->start(viewerProgram(), arguments, QIODevice::ReadWrite);
}

void BFileOpenManagerPrivate::startWorker(const QString& fileId, const QString& localPath)
{
    auto* worker = new BFileOpenWorker(fileId, localPath);
    worker->setTimings(timings);
    QObject::connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    QObject::connect(worker, &BFileOpenWorker::openFinished, q, &BFileOpenManager::slotOpenFinished);
    worker->start(QThread::InheritPriority);
}

FileOpenItem* BFileOpenManagerPrivate::getOpenedFile(const QString& remotePath) const
{
    const QString path = FileUtils::formatPath(remotePath);
    for (FileOpenItem* item : openedFiles) {
        if (path == FileUtils::concat(item->remoteFolderPath, item->fileName))
            return item;
    }
    return nullptr;
}

void BFileOpenManagerPrivate::removeFileToOpenItem(const QString& fileId)
{
    if (!fileId.isEmpty())
        delete filesToOpen.take(fileId);
}

void BFileOpenManagerPrivate::removeFileOpenedItem(const QString& remotePath)
{
    if (remotePath.isEmpty())
        return;
    if (FileOpenItem* item = getOpenedFile(remotePath)) {
        openedFiles.remove(item->fileId);
        delete item;
    }
}

void BFileOpenManagerPrivate::queryFileMeta(const QSharedPointer<MFile>& file)
{
    queryById(file, &BFileOpenManager::onQueryFileMetaFinished, false);
}

void BFileOpenManagerPrivate::queryFilePath(const QSharedPointer<MFile>& file)
{
    // The same request, asking for the reply's "path" as well.
    queryById(file, &BFileOpenManager::onQueryFilePathFinished, true);
}

void BFileOpenManagerPrivate::queryById(const QSharedPointer<MFile>& file, Caller::FinishedFunction finished,
                                        bool withPath)
{
    if (accessToken.isEmpty())
        return;
    auto* handler = new BQueryFileMetaHandler(new Caller(q, finished), file);
    track(handler);
    ZYRDocument::GetFileMetaById(accessToken, file->getWorkspaceId(), file->getId(), withPath, handler);
}

void BFileOpenManagerPrivate::queryFileMetaByPath(const QString& workspaceId, const QString& remotePath)
{
    if (accessToken.isEmpty())
        return;
    auto* caller = new Caller(q, &BFileOpenManager::onQueryFileMetaFinished);
    auto* handler = new BQueryFileMetaHandler(caller, QWeakPointer<MFile>(), remotePath);
    track(handler);
    ZYRDocument::GetFileMetaByPath(accessToken, workspaceId, remotePath, handler);
}

void BFileOpenManagerPrivate::track(BReplyHandlerBase* handler)
{
    requests.removeAll(nullptr);
    requests.append(handler);
}

// ---- public interface ------------------------------------------------------

BFileOpenManager::BFileOpenManager(const QString& userId, BTCloudManager* owner)
    : d(std::make_unique<BFileOpenManagerPrivate>(this, owner, userId))
{
    d->init();
}

BFileOpenManager::BFileOpenManager(BTCloudManager* owner) : d(std::make_unique<BFileOpenManagerPrivate>(this, owner))
{
    d->init();
}

BFileOpenManager::~BFileOpenManager()
{
    QObject::disconnect(&d->transfers, nullptr, this, nullptr);
    d->cancelRequests();
    d->clear();
}

void BFileOpenManager::openFile(QWeakPointer<MFile> weakFile)
{
    const QSharedPointer<MFile> file = weakFile.toStrongRef();
    if (!file || file->getIsFolder())
        return;

    auto* item = new FileOpenItem;
    item->fileId = file->getId();
    item->workspaceId = file->getWorkspaceId();
    item->fileName = file->getFileName();
    const QSharedPointer<MFile> parent = file->getParent();
    if (parent && parent->getIsFolder())
        item->setRemoteFolderPath(parent->getPath());
    else
        d->queryFilePath(file);
    BFileOpenManagerPrivate::replace(d->filesToOpen, item->fileId, item);
    // Always from fresh metadata, never from the tree's possibly stale copy.
    d->queryFileMeta(file);
}

void BFileOpenManager::cancelOpenFile(const QString& fileId)
{
    if (!d->filesToOpen.contains(fileId))
        return;
    d->transfers.removeUnfinishedItem(fileId, true, true);
    d->removeFileToOpenItem(fileId);
    d->pendingDigests.remove(fileId);
}

bool BFileOpenManager::hasUnfinishedTransferItem(bool isDownload) const
{
    const QList<MFileTransferItem*>& items = d->transfers.getUnfinishedItems();
    return std::any_of(items.cbegin(), items.cend(),
                       [isDownload](const MFileTransferItem* item) { return item->getIsDownload() == isDownload; });
}

qint64 BFileOpenManager::getCachedFileSize() const
{
    return FileUtils::getFileSizeInDir(d->cacheDirectory);
}

void BFileOpenManager::clearAllCaches()
{
    FileUtils::removeFilesInDir(d->cacheDirectory);
    d->cache.removeCacheItemByLocalDir(d->cacheDirectory);
}

void BFileOpenManager::setAccessToken(const QString& accessToken)
{
    d->accessToken = accessToken;
    d->transfers.setAccessToken(accessToken);
}

void BFileOpenManager::setUserId(const QString& userId, const QString& accessToken, const QString& userName)
{
    d->transfers.setUserId(userId, accessToken);
    d->transfers.setUserName(userName);
}

void BFileOpenManager::onQueryFilePathFinished(BReplyHandlerBase* handler)
{
    auto* meta = qobject_cast<BQueryFileMetaHandler*>(handler);
    if (!meta || !meta->isStatusOk())
        return;
    const QSharedPointer<MFile> target = meta->targetFile().toStrongRef();
    const QSharedPointer<MFile> answer = meta->file();
    if (!target || !answer || answer->getRemotePathString().isEmpty())
        return;
    const QString folder = FileUtils::getParentFolderPath(answer->getRemotePathString());
    for (FileOpenItem* item : { d->filesToOpen.value(target->getId()), d->openedFiles.value(target->getId()) }) {
        if (item && !item->hasRemoteFolderPath)
            item->setRemoteFolderPath(folder);
    }
}

void BFileOpenManager::onQueryFileMetaFinished(BReplyHandlerBase* handler)
{
    auto* meta = qobject_cast<BQueryFileMetaHandler*>(handler);
    if (!meta)
        return;
    // A query by path follows the upload of an edited file; one by id opens.
    const QString path = meta->queriedPath();
    const QSharedPointer<MFile> answer = meta->file();
    if (meta->isStatusOk() && answer) {
        if (path.isEmpty()) {
            d->openFileImpl(answer);
            return;
        }
        if (FileOpenItem* item = d->getOpenedFile(path)) {
            Q_EMIT uploadModifiedFileMetaAvailable(item->workspaceId, item->remoteFolderPath, answer);
            // The edited copy is the cached copy of the new version.
            d->cache.addCacheItem(answer->getId(), answer->getDigest(), item->localPath);
            d->removeFileOpenedItem(path);
        }
        return;
    }
    if (!path.isEmpty()) {
        d->removeFileOpenedItem(path);
    } else if (const QSharedPointer<MFile> target = meta->targetFile().toStrongRef()) {
        d->removeFileToOpenItem(target->getId());
    }
}

void BFileOpenManager::slotTransferItemStatusUpdated(MFileTransferItem* item, int, int newStatus)
{
    if (!item || newStatus <= MFileTransferItem::Transferring)
        return;
    const bool success = newStatus == MFileTransferItem::Finished;
    const QString fileId = item->getFileId();
    if (!item->getIsDownload())
        Q_EMIT uploadModifiedFileFinished(success, item->getLocalPath(), item->getWorkspaceId(),
                                          item->getRemoteParentPath());

    if (success && item->getIsDownload()) {
        if (d->pendingDigests.contains(fileId))
            d->cache.addCacheItem(fileId, d->pendingDigests.take(fileId), item->getLocalPath());
        Q_EMIT downloadFileProgressUpdated(fileId, true, 100);
        d->doOpenFile(fileId, item->getLocalPath(), 0);
    } else if (success) {
        if (FileOpenItem* record = d->getOpenedFile(item->getRemotePath()))
            d->queryFileMetaByPath(record->workspaceId, item->getRemotePath());
    } else {
        if (item->getIsDownload()) {
            d->removeFileToOpenItem(fileId);
            d->pendingDigests.remove(fileId);
        } else {
            d->removeFileOpenedItem(item->getRemotePath());
        }
        Q_EMIT downloadFileProgressUpdated(fileId, false, 100);
    }
}

void BFileOpenManager::slotTransferItemProgressUpdated(MFileTransferItem* item)
{
    if (!item)
        return;
    const qint64 size = item->getSize();
    const qint64 done = item->getBytesCompleted();
    const int progress = size < 1 || done >= size ? 100 : int(done * 100 / size);
    if (item->getIsDownload())
        Q_EMIT downloadFileProgressUpdated(item->getFileId(), true, progress);
    else
        Q_EMIT uploadFileProgressUpdated(item->getRemoteFileName(), true, progress);
}

void BFileOpenManager::slotOpenFinished(bool success, bool modified, const QString& fileId)
{
    if (success && modified) {
        FileOpenItem* item = d->openedFiles.value(fileId);
        if (item && item->hasRemoteFolderPath) {
            d->transfers.upload(item->localPath, item->workspaceId, item->remoteFolderPath, item->fileName);
            Q_EMIT uploadModifiedFileStarted(item->fileName);
        }
    }
    Q_EMIT openFinished(success, modified, fileId);
}

} // namespace Trelan::Oku::ZYRController
