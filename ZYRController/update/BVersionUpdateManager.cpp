// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BVersionUpdateManager.h>

#include <ZYRController/BActionFinishedCaller.h>
#include <ZYRController/BDownloadFileHandler.h>
#include <ZYRController/BVersionReplyHandler.h>
#include <ZYRService/ZYRVersion.h>

#include <QFile>
#include <QLoggingCategory>
#include <QNetworkReply>

Q_LOGGING_CATEGORY(lcUpdate, "zyr.controller.update", QtWarningMsg)

namespace Trelan::Oku::ZYRController {

using Trelan::Oku::ZYRService::ZYRVersion;
using Caller = BActionFinishedCaller<BVersionUpdateManager>;

BVersionUpdateManager::BVersionUpdateManager(QObject* parent) : QObject(parent) { }

BVersionUpdateManager::~BVersionUpdateManager()
{
    // A cancelled handler never calls back into this object. Both pointers
    // are dropped in the callbacks: a finished handler may already have
    // lost its reply while it waits for deletion.
    if (m_query && !m_query->isCancelled())
        m_query->slotCancel();
    if (m_download)
        Q_EMIT requestCancelDownloadLatestVersion();
    closeFile(false);
}

void BVersionUpdateManager::queryLatestVersion(const QString& listAddress, const QString& currentVersion)
{
    if (m_query && !m_query->isCancelled())
        m_query->slotCancel();
    auto* handler = new BVersionReplyHandler(new Caller(this, &BVersionUpdateManager::onQueryLatestVersionFinished),
                                             currentVersion);
    m_query = handler;
    ZYRVersion::QueryLatestVersion(listAddress, handler);
}

void BVersionUpdateManager::onQueryLatestVersionFinished(BReplyHandlerBase* handler)
{
    m_query = nullptr;
    auto* list = qobject_cast<BVersionReplyHandler*>(handler);
    if (!list)
        return;
    if (!list->isStatusOk()) {
        Q_EMIT queryLatestVersionFinished(false, QString(), QString(), false);
        return;
    }
    Q_EMIT queryLatestVersionFinished(true, list->newestVersion(), list->installerAddress(), list->isForceUpdate());
}

bool BVersionUpdateManager::downloadLatestVersion(const QString& address, const QString& filePath)
{
    if (m_download)
        Q_EMIT requestCancelDownloadLatestVersion();
    closeFile(false);
    m_file = std::make_unique<QFile>(filePath);
    if (!m_file->open(QIODevice::WriteOnly)) {
        qCWarning(lcUpdate) << "cannot write the installer to" << filePath << m_file->errorString();
        m_file.reset();
        return false;
    }
    auto* handler = new BDownloadFileHandler(new Caller(this, &BVersionUpdateManager::onDownloadLatestVersionFinished,
                                                        &BVersionUpdateManager::onDownloadLatestVersionProgress),
                                             m_file.get());
    m_download = handler;
    m_lastReported = 0;
    connect(this, SIGNAL(requestCancelDownloadLatestVersion()), handler, SLOT(slotCancel()));
    // After the handler's cancel (connection order): the aborted reply no
    // longer writes, and the partial installer goes.
    m_cancelCleanup = connect(this, &BVersionUpdateManager::requestCancelDownloadLatestVersion, this, [this] {
        releaseDownload();
        closeFile(true);
    });
    ZYRVersion::DownloadFile(address, handler);
    return true;
}

void BVersionUpdateManager::onDownloadLatestVersionProgress(qint64 bytesReceived, qint64 bytesTotal)
{
    if (bytesTotal != 0 && (bytesReceived - m_lastReported) * 100 / bytesTotal < 1)
        return;
    m_lastReported = bytesReceived;
    Q_EMIT downloadLatestVersionProgress(bytesReceived, bytesTotal);
}

void BVersionUpdateManager::onDownloadLatestVersionFinished(BReplyHandlerBase* handler)
{
    releaseDownload();
    auto* download = qobject_cast<BDownloadFileHandler*>(handler);
    if (!download)
        return;
    // A body cut short can end without an error: compare with its length.
    const QVariant length = download->getReply()->header(QNetworkRequest::ContentLengthHeader);
    const bool complete = !length.isValid() || length.toLongLong() == download->bytesWritten();
    const bool ok = download->isStatusOk() && download->isWriteOk() && complete;
    // A failed download leaves no installer behind.
    closeFile(!ok);
    Q_EMIT downloadLatestVersionFinished(ok);
}

void BVersionUpdateManager::releaseDownload()
{
    // The handler is done (or cancelled): no later cancel may reach it.
    if (m_download)
        disconnect(this, SIGNAL(requestCancelDownloadLatestVersion()), m_download, SLOT(slotCancel()));
    m_download = nullptr;
    disconnect(m_cancelCleanup);
}

void BVersionUpdateManager::closeFile(bool remove)
{
    if (!m_file)
        return;
    m_file->close();
    if (remove)
        m_file->remove();
    m_file.reset();
}

} // namespace Trelan::Oku::ZYRController
