// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BFileBackupManager.h>

#include <ZYRCommon/FileUtils.h>

namespace Trelan::Oku::ZYRController {

using Trelan::Oku::ZYRCommon::FileUtils;

BFileBackupManager::BFileBackupManager()
{
    init();
}

BFileBackupManager::BFileBackupManager(const BFileBackupManager& other) = default;
BFileBackupManager& BFileBackupManager::operator=(const BFileBackupManager& other) = default;
BFileBackupManager::~BFileBackupManager() = default;

void BFileBackupManager::init()
{
    m_autoBackup = false;
    m_autoBackupTime = QTime(23, 0, 0, 0);
}

const QString& BFileBackupManager::getBackupDir() const
{
    return m_backupDir;
}

void BFileBackupManager::setBackupDir(const QString& dir)
{
    m_backupDir = FileUtils::formatPath(dir);
}

bool BFileBackupManager::isAutoBackup() const
{
    return m_autoBackup;
}

void BFileBackupManager::setAutoBackup(bool autoBackup)
{
    m_autoBackup = autoBackup;
}

const QTime& BFileBackupManager::getAutoBackupTime() const
{
    return m_autoBackupTime;
}

void BFileBackupManager::setAutoBackupTime(const QTime& time)
{
    if (time.isValid())
        m_autoBackupTime = time;
}

const QSet<QString>& BFileBackupManager::getWorkspaceIdsToBackup() const
{
    return m_workspaceIds;
}

void BFileBackupManager::addWorkspaceIdToBackup(const QString& workspaceId)
{
    if (!workspaceId.isEmpty())
        m_workspaceIds.insert(workspaceId);
}

void BFileBackupManager::addWorkspaceIdsToBackup(const QSet<QString>& workspaceIds)
{
    m_workspaceIds.unite(workspaceIds);
}

void BFileBackupManager::removeWorkspaceIdToBackup(const QString& workspaceId)
{
    m_workspaceIds.remove(workspaceId);
}

void BFileBackupManager::startBackupImmediately() { }

void BFileBackupManager::stopBackup() { }

bool BFileBackupManager::isBackuping() const
{
    return false;
}

} // namespace Trelan::Oku::ZYRController
