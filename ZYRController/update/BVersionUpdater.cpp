// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BVersionUpdater.h>

#include <ZYRCommon/ApplicationSettings.h>
#include <ZYRCommon/FileUtils.h>
#include <ZYRController/BVersionUpdateManager.h>

#include <QLoggingCategory>
#include <QUrl>

Q_LOGGING_CATEGORY(lcUpdater, "zyr.controller.update.updater", QtWarningMsg)

namespace Trelan::Oku::ZYRController {

using Trelan::Oku::ZYRCommon::ApplicationSettings;
using Trelan::Oku::ZYRCommon::FileUtils;

BVersionUpdater::BVersionUpdater(QObject* parent) : QObject(parent), m_manager(new BVersionUpdateManager(this))
{
    init();
}

BVersionUpdater::~BVersionUpdater() = default;

void BVersionUpdater::init()
{
    connect(m_manager, &BVersionUpdateManager::queryLatestVersionFinished, this,
            &BVersionUpdater::slotCheckNewVersionFinished);
    connect(m_manager, &BVersionUpdateManager::downloadLatestVersionFinished, this,
            &BVersionUpdater::slotDownloadNewVersionFinished);
    connect(m_manager, &BVersionUpdateManager::downloadLatestVersionProgress, this,
            &BVersionUpdater::slotDownloadNewVersionPrgress);
}

void BVersionUpdater::checkNewVersion(const QString& listAddress, const QString& currentVersion)
{
    m_currentVersion = currentVersion;
    m_newVersion.clear();
    m_newVersionUrl.clear();
    m_forceUpdate = false;
    m_manager->queryLatestVersion(listAddress, currentVersion);
}

bool BVersionUpdater::updateNewVersion()
{
    if (m_newVersion.isEmpty() || m_newVersionUrl.isEmpty())
        return false;
    return downloadNewVersion();
}

void BVersionUpdater::cancelUpdateNewVersion()
{
    Q_EMIT m_manager->requestCancelDownloadLatestVersion();
}

const QString& BVersionUpdater::getNewVersion() const
{
    return m_newVersion;
}

const QString& BVersionUpdater::getNewVersionUrl() const
{
    return m_newVersionUrl;
}

bool BVersionUpdater::getIsForceUpdate() const
{
    return m_forceUpdate;
}

const QString& BVersionUpdater::getInstallFile() const
{
    return m_installFile;
}

QString BVersionUpdater::installerFileName(const QString& address, const QString& version)
{
    if (address.endsWith(QLatin1String(".exe")))
        return QUrl(address).fileName();
    return QLatin1String("ZYRDesktopSetup-") + version + QLatin1String(".exe");
}

bool BVersionUpdater::downloadNewVersion()
{
    // Both parts of the name come from the server.
    const QString name = installerFileName(m_newVersionUrl, m_newVersion);
    if (!FileUtils::isSafeLocalName(name)) {
        qCWarning(lcUpdater) << "refused the installer name" << name;
        return false;
    }
    m_installFile = ApplicationSettings::tempDataLocation() + QLatin1Char('/') + name;
    return m_manager->downloadLatestVersion(m_newVersionUrl, m_installFile);
}

void BVersionUpdater::slotCheckNewVersionFinished(bool bSuccess, const QString& latestVersion,
                                                  const QString& latestVersionUrl, bool forceUpdate)
{
    if (bSuccess) {
        m_newVersion = latestVersion;
        m_newVersionUrl = latestVersionUrl;
        m_forceUpdate = forceUpdate;
    }
    Q_EMIT versionAvailable(!m_newVersion.isEmpty() && !m_newVersionUrl.isEmpty(), m_newVersion, m_forceUpdate);
}

void BVersionUpdater::slotDownloadNewVersionFinished(bool statusOK)
{
    Q_EMIT downloadNewVersionProgressUpdated(statusOK, 100);
}

void BVersionUpdater::slotDownloadNewVersionPrgress(qint64 bytesReceived, qint64 bytesTotal)
{
    if (bytesTotal > 0)
        Q_EMIT downloadNewVersionProgressUpdated(true, static_cast<int>(bytesReceived * 100 / bytesTotal));
    else
        Q_EMIT downloadNewVersionProgressUpdated(true, 100);
}

} // namespace Trelan::Oku::ZYRController
