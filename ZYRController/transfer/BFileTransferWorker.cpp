// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BFileTransferWorker.h>

#include <ZYRCommon/FileUtils.h>
#include <ZYRController/BActionFinishedCaller.h>
#include <ZYRController/BDownloadFileHandler.h>
#include <ZYRController/BQueryFileMetaHandler.h>
#include <ZYRController/BUploadFileHandler.h>
#include <ZYRService/ZYRDocument.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QTimer>
#include <filesystem>
#include <system_error>

Q_LOGGING_CATEGORY(lcWorker, "zyr.controller.transfer.worker", QtWarningMsg)

namespace Trelan::Oku::ZYRController {

using Trelan::Oku::ZYRCommon::FileUtils;
using Trelan::Oku::ZYRModel::MFile;
using Trelan::Oku::ZYRModel::MFileTransferItem;
using Trelan::Oku::ZYRService::ZYRDocument;
using Caller = BActionFinishedCaller<BFileTransferWorker>;
using Reason = MFileTransferItem::FailureReason;

namespace {
std::filesystem::path nativePath(const QString& path)
{
#ifdef Q_OS_WIN
    return std::filesystem::path(path.toStdWString());
#else
    return std::filesystem::path(QFile::encodeName(path).toStdString());
#endif
}
} // namespace

BFileTransferWorker::BFileTransferWorker(MFileTransferItem* item, const MFileTransferItem& copy,
                                         const QString& accessToken)
    : m_item(item), m_copy(copy), m_accessToken(accessToken), m_timings(BTimings::current())
{
}

BFileTransferWorker::~BFileTransferWorker() = default;

void BFileTransferWorker::setTimings(const BTimings& timings)
{
    m_timings = timings;
}

void BFileTransferWorker::stop()
{
    m_deleteOnStop = m_copy.getIsDownload();
    exit(0);
}

MFileTransferItem* BFileTransferWorker::getItem() const
{
    return m_item;
}

const MFileTransferItem& BFileTransferWorker::getItemCopy() const
{
    return m_copy;
}

void BFileTransferWorker::run()
{
    prepareRun();
    const bool started = m_copy.getIsDownload() ? startDownload() : startUpload(0, 0);
    if (started)
        exec();
    finishRun();
}

void BFileTransferWorker::prepareRun()
{
    // Made here so that it belongs to this thread and fires in its loop.
    m_inactivityTimer = std::make_unique<QTimer>();
    m_inactivityTimer->setSingleShot(true);
    m_inactivityTimer->setInterval(m_timings.inactivityTimeoutMs);
    connect(m_inactivityTimer.get(), &QTimer::timeout, m_inactivityTimer.get(), [this] { slotTimeout(); });
}

void BFileTransferWorker::finishRun()
{
    if (m_inactivityTimer)
        m_inactivityTimer->stop();
    // A stop() or timeout may leave a request in flight: cancel it so that
    // its handler and reply finish (without calling back) and are deleted
    // with this thread's other deferred deletions.
    if (m_activeHandler)
        m_activeHandler->slotCancel();
    QCoreApplication::sendPostedEvents(nullptr, 0);

    if (m_file) {
        m_file->close();
        if (m_deleteOnStop)
            m_file->remove();
        m_file.reset();
    }
    m_inactivityTimer.reset();
    if (m_copy.getStatus() == MFileTransferItem::Failed)
        Q_EMIT transferFailed(m_item, m_copy.getFailureReason());
    Q_EMIT transferFinished(this, m_item, m_copy.getStatus(), QString());
}

bool BFileTransferWorker::startDownload()
{
    // The queue makes no local path from a name that fails the check; this
    // holds for records of an older store and for retries as well.
    const QString target = m_copy.getLocalPath();
    if (target.isEmpty() || !FileUtils::isSafeLocalName(QFileInfo(target).fileName())) {
        report(MFileTransferItem::Failed, QString(), MFileTransferItem::UnsafeName);
        return false;
    }
    const QString partialPath = target + QLatin1String(PartialSuffix);
    const QFileInfo partial(partialPath);
    m_startOffset = 0;
    m_expectedSize = m_copy.getSize();
    if (partial.exists()) {
        // A partial file as large as the record (or larger) cannot be a
        // prefix of it: start over.
        if (partial.size() < m_copy.getSize())
            m_startOffset = partial.size();
    } else if (!QDir().mkpath(partial.path())) {
        qCWarning(lcWorker) << "cannot create the download directory" << partial.path();
        return false;
    }

    m_file = std::make_unique<QFile>(partialPath);
    const QIODevice::OpenMode mode = m_startOffset < 1 ? QIODevice::WriteOnly : QIODevice::Append;
    if (!m_file->open(mode)) {
        qCWarning(lcWorker) << "cannot open" << partialPath << m_file->errorString();
        m_file.reset();
        report(MFileTransferItem::Failed, QString(), MFileTransferItem::LocalFileError);
        return false;
    }

    auto* caller = new Caller(this, &BFileTransferWorker::onDownloadFinished, &BFileTransferWorker::onDownloadProgress,
                              nullptr);
    auto* handler = new BDownloadFileHandler(caller, m_file.get());
    handler->setExpectedFile(m_startOffset, m_expectedSize);
    m_activeHandler = handler;
    m_lastReported = 0;
    ZYRDocument::DownloadFile(m_accessToken, m_copy.getWorkspaceId(), m_copy.getFileId(), m_startOffset, 0, handler);
    restartInactivityTimer();
    return true;
}

bool BFileTransferWorker::startUpload(qint64 offset, qint64 expectedSize)
{
    m_file = std::make_unique<QFile>(m_copy.getLocalPath());
    if (!m_file->open(QIODevice::ReadOnly)) {
        qCWarning(lcWorker) << "cannot read" << m_copy.getLocalPath() << m_file->errorString();
        m_file.reset();
        report(MFileTransferItem::Failed, QString(), MFileTransferItem::LocalFileError);
        return false;
    }

    m_startOffset = offset;
    if (offset > 0) {
        // Resume only when the server's partial file belongs to this very
        // local file, as far as its size can tell.
        if (m_file->size() == expectedSize)
            m_file->seek(offset);
        else
            m_startOffset = 0;
    }

    auto* caller
            = new Caller(this, &BFileTransferWorker::onUploadFinished, nullptr, &BFileTransferWorker::onUploadProgress);
    auto* handler = new BUploadFileHandler(caller);
    m_activeHandler = handler;
    m_lastReported = 0;
    ZYRDocument::UploadFile(m_accessToken, m_copy.getWorkspaceId(), m_copy.getRemoteParentPath(),
                            m_copy.getRemotePath(), m_copy.getSize(), m_startOffset, m_file.get(), handler);
    restartInactivityTimer();
    return true;
}

bool BFileTransferWorker::queryRemoteInfo()
{
    if (m_remoteInfoAttempts++ >= MaxRemoteInfoAttempts) {
        report(MFileTransferItem::Failed, QString(), MFileTransferItem::RequestFailed);
        return false;
    }
    auto* caller = new Caller(this, &BFileTransferWorker::onQueryRemoteInfoFinished, nullptr, nullptr);
    auto* handler = new BQueryFileMetaHandler(caller, QWeakPointer<MFile>(), m_copy.getRemotePath());
    m_activeHandler = handler;
    ZYRDocument::GetFileMetaByPath(m_accessToken, m_copy.getWorkspaceId(), m_copy.getRemotePath(), handler);
    restartInactivityTimer();
    return true;
}

void BFileTransferWorker::onQueryRemoteInfoFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    restartInactivityTimer();
    // The upload file of an earlier attempt is reopened by startUpload.
    if (m_file) {
        m_file->close();
        m_file.reset();
    }

    bool started = false;
    bool usable = false;
    const int status = handler->statusCode();
    if (status == 404) {
        started = startUpload(0, 0);
        usable = true;
    } else if (status == 200) {
        const auto* meta = static_cast<BQueryFileMetaHandler*>(handler);
        const QSharedPointer<MFile> remote = meta->file();
        if (!remote) {
            started = startUpload(0, 0);
            usable = true;
        } else if (!remote->getIsUploading()) {
            usable = true;
            if (remote->getUploadedSize() < remote->getSize() && remote->getSize() == m_copy.getSize())
                started = startUpload(remote->getUploadedSize(), remote->getSize());
            else
                started = startUpload(0, 0);
        }
    }

    if (!usable) {
        // The service is busy with this file or answered oddly: ask again later.
        QThread::msleep(static_cast<unsigned long>(m_timings.retryDelayMs));
        started = queryRemoteInfo();
    }
    if (!started)
        endLoop();
}

void BFileTransferWorker::onDownloadProgress(qint64 bytesReceived, qint64 bytesTotal)
{
    restartInactivityTimer();
    auto* handler = qobject_cast<BDownloadFileHandler*>(m_activeHandler.data());
    // Nothing of an answer that is not the file's content is counted.
    if (!handler || handler->bodyOffset() < 0)
        return;
    const qint64 delta = bytesReceived - m_lastReported;
    m_lastReported = bytesReceived;
    const qint64 held = handler->bodyOffset() + bytesReceived;
    const qint64 total = handler->announcedSize() >= 0 ? handler->announcedSize() : bytesTotal;
    m_copy.setBytesCompleted(held);
    if (m_copy.getSize() != total)
        m_copy.setSize(total);
    Q_EMIT transferProgress(m_item, delta, held, total);
}

void BFileTransferWorker::onUploadProgress(qint64 bytesSent, qint64 bytesTotal)
{
    const qint64 delta = bytesSent - m_lastReported;
    m_lastReported = bytesSent;
    restartInactivityTimer();
    if (bytesSent == 0)
        return;
    m_copy.setBytesCompleted(m_startOffset + bytesSent);
    Q_EMIT transferProgress(m_item, delta, m_startOffset + bytesSent, bytesTotal);
}

void BFileTransferWorker::onDownloadFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    restartInactivityTimer();
    const Reason reason = concludeDownload(qobject_cast<BDownloadFileHandler*>(handler), true);
    m_activeHandler = nullptr;
    report(reason == MFileTransferItem::NoFailure ? MFileTransferItem::Finished : MFileTransferItem::Failed, QString(),
           reason);
    endLoop();
}

Reason BFileTransferWorker::concludeDownload(BDownloadFileHandler* handler, bool answerEnded)
{
    if (!handler || !m_file || handler->bodyOffset() < 0)
        return answerEnded ? MFileTransferItem::RequestFailed : MFileTransferItem::TimedOut;
    if (!handler->isWriteOk() || !m_file->flush())
        return MFileTransferItem::LocalFileError;
    const qint64 held = m_file->size();
    const qint64 announced = handler->announcedSize();
    // Another file than the one listed, or more bytes than it has: what was
    // written cannot be the start of the right file either.
    if (handler->exceededSize() || held > m_expectedSize || (announced >= 0 && announced != m_expectedSize)) {
        dropPartialFile();
        return MFileTransferItem::WrongContent;
    }
    // Cut off: the bytes held are kept for the next attempt to resume.
    if (held < m_expectedSize)
        return answerEnded ? MFileTransferItem::RequestFailed : MFileTransferItem::TimedOut;
    if (!handler->digestMatches()) {
        dropPartialFile();
        return MFileTransferItem::WrongContent;
    }
    return replaceTarget() ? MFileTransferItem::NoFailure : MFileTransferItem::LocalFileError;
}

bool BFileTransferWorker::replaceTarget()
{
    const QString partial = m_file->fileName();
    m_file->close();
    m_file.reset();
    // One rename replaces an older target: there is no moment without a
    // file, and a target that cannot be replaced (a folder) fails the
    // download, keeping the partial file.
    std::error_code error;
    std::filesystem::rename(nativePath(partial), nativePath(m_copy.getLocalPath()), error);
    if (error)
        qCWarning(lcWorker) << "cannot put the download in place at" << m_copy.getLocalPath()
                            << QString::fromStdString(error.message());
    return !error;
}

void BFileTransferWorker::dropPartialFile()
{
    qCWarning(lcWorker) << "the bytes received for" << m_copy.getLocalPath() << "do not match the file; dropped";
    m_file->close();
    m_file->remove();
    m_file.reset();
}

void BFileTransferWorker::onUploadFinished(BReplyHandlerBase* handler)
{
    if (!handler)
        return;
    restartInactivityTimer();
    const bool ok = handler->statusCode() == 200;
    QString fileId;
    if (ok) {
        const QSharedPointer<MFile> uploaded = static_cast<BUploadFileHandler*>(handler)->file();
        if (uploaded) {
            fileId = uploaded->getId();
            Q_EMIT cacheFile(fileId, uploaded->getDigest(), m_copy.getLocalPath());
        }
    }
    m_activeHandler = nullptr;
    if (ok)
        report(MFileTransferItem::Finished, fileId);
    else
        report(MFileTransferItem::Failed, fileId, MFileTransferItem::RequestFailed);
    endLoop();
}

void BFileTransferWorker::slotTimeout()
{
    qCInfo(lcWorker) << "transfer inactive for" << m_timings.inactivityTimeoutMs << "ms";
    if (m_copy.getIsDownload()) {
        // Every byte may be there with the answer's end still missing: the
        // request ends here and the file is judged as at the end of an answer.
        auto* handler = qobject_cast<BDownloadFileHandler*>(m_activeHandler.data());
        if (handler)
            handler->slotCancel();
        m_activeHandler = nullptr;
        const Reason reason = concludeDownload(handler, false);
        report(reason == MFileTransferItem::NoFailure ? MFileTransferItem::Finished : MFileTransferItem::Failed,
               QString(), reason);
    } else if (m_copy.getBytesCompleted() == m_copy.getSize()) {
        report(MFileTransferItem::Finished, QString());
    } else {
        report(MFileTransferItem::Failed, QString(), MFileTransferItem::TimedOut);
    }
    endLoop();
}

void BFileTransferWorker::report(MFileTransferItem::TransferStatus status, const QString& fileId, Reason reason)
{
    m_copy.setStatus(status);
    m_copy.setFailureReason(reason);
    if (status == MFileTransferItem::Failed)
        Q_EMIT transferFailed(m_item, reason);
    Q_EMIT transferFinished(this, m_item, status, fileId);
}

void BFileTransferWorker::restartInactivityTimer()
{
    if (m_inactivityTimer)
        m_inactivityTimer->start();
}

void BFileTransferWorker::endLoop()
{
    if (m_inactivityTimer)
        m_inactivityTimer->stop();
    exit(0);
}

} // namespace Trelan::Oku::ZYRController
