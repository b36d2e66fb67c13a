// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

#include <QObject>
#include <QString>

namespace Trelan::Oku::ZYRController {

class BVersionUpdateManager;

/// Tells the views whether a newer client exists and, on request, downloads
/// its installer into ApplicationSettings::tempDataLocation(). The installer
/// is named after its address when that ends with ".exe", else
/// "ZYRDesktopSetup-<version>.exe".
class ZYRCONTROLLER_EXPORT BVersionUpdater : public QObject {
    Q_OBJECT
public:
    explicit BVersionUpdater(QObject* parent = nullptr);
    ~BVersionUpdater() override;

    /// Asks for the version list at \a listAddress; versionAvailable() reports.
    void checkNewVersion(const QString& listAddress, const QString& currentVersion);
    /// Starts the installer download. False when no newer version is known,
    /// or when the installer cannot be written (its name is not a safe
    /// file name, or the file cannot be opened); then no request is made.
    bool updateNewVersion();
    /// Cancels the running download; no completion is reported.
    void cancelUpdateNewVersion();

    const QString& getNewVersion() const;
    const QString& getNewVersionUrl() const;
    bool getIsForceUpdate() const;
    /// Where the installer is (or was being) downloaded to.
    const QString& getInstallFile() const;

    /// The installer's file name for \a address and \a version.
    static QString installerFileName(const QString& address, const QString& version);

Q_SIGNALS:
    void versionAvailable(bool hasNewVersion, const QString& newVersion, bool forceUpdate);
    /// \a value in percent; 100 with the final \a statusOK when done.
    void downloadNewVersionProgressUpdated(bool statusOK, int value);

public Q_SLOTS:
    void slotCheckNewVersionFinished(bool bSuccess, const QString& latestVersion, const QString& latestVersionUrl,
                                     bool forceUpdate);
    void slotDownloadNewVersionFinished(bool statusOK);
    void slotDownloadNewVersionPrgress(qint64 bytesReceived, qint64 bytesTotal);

private:
    void init();
    bool downloadNewVersion();

    BVersionUpdateManager* m_manager;
    QString m_currentVersion;
    QString m_newVersion;
    QString m_newVersionUrl;
    bool m_forceUpdate = false;
    QString m_installFile;
};

} // namespace Trelan::Oku::ZYRController
