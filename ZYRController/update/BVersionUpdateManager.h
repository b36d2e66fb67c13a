// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QString>
#include <memory>

class QFile;

namespace Trelan::Oku::ZYRController {

class BReplyHandlerBase;

/// Issues the version list query and the installer download and turns
/// their replies into signals. Download progress is reported once per whole
/// percent of the total. Lives on the thread that made it.
class ZYRCONTROLLER_EXPORT BVersionUpdateManager : public QObject {
    Q_OBJECT
public:
    explicit BVersionUpdateManager(QObject* parent = nullptr);
    /// Cancels what is still in flight; nothing is reported afterwards.
    ~BVersionUpdateManager() override;

    /// Asks for the version list at \a listAddress and compares it with
    /// \a currentVersion; queryLatestVersionFinished() reports.
    void queryLatestVersion(const QString& listAddress, const QString& currentVersion);
    /// Downloads \a address into \a filePath (replacing it). False, without a
    /// request, when the file cannot be opened for writing.
    bool downloadLatestVersion(const QString& address, const QString& filePath);

    // Reply callbacks (through BActionFinishedCaller).
    virtual void onQueryLatestVersionFinished(BReplyHandlerBase* handler);
    virtual void onDownloadLatestVersionFinished(BReplyHandlerBase* handler);
    virtual void onDownloadLatestVersionProgress(qint64 bytesReceived, qint64 bytesTotal);

Q_SIGNALS:
    void queryLatestVersionFinished(bool bSuccess, const QString& latestVersion, const QString& latestVersionUrl,
                                    bool forceUpdate);
    void downloadLatestVersionFinished(bool statusOK);
    void downloadLatestVersionProgress(qint64 bytesReceived, qint64 bytesTotal);
    /// Cancels the running download: its partial file is removed and no
    /// completion is reported.
    void requestCancelDownloadLatestVersion();

private:
    void releaseDownload();
    void closeFile(bool remove);

    std::unique_ptr<QFile> m_file;
    qint64 m_lastReported = 0;
    QPointer<BReplyHandlerBase> m_query;
    QPointer<BReplyHandlerBase> m_download;
    QMetaObject::Connection m_cancelCleanup;
};

} // namespace Trelan::Oku::ZYRController
