// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

#include <QSet>
#include <QString>
#include <QTime>

namespace Trelan::Oku::ZYRController {

/// The user's backup settings: where backups go, whether the daily automatic
/// backup is on and at what time, and which workspaces are backed up. A
/// plain value; it starts nothing and stores nothing. A backup is run by
/// making a BFileBackupWorker from these settings.
class ZYRCONTROLLER_EXPORT BFileBackupManager {
public:
    BFileBackupManager();
    BFileBackupManager(const BFileBackupManager& other);
    BFileBackupManager& operator=(const BFileBackupManager& other);
    virtual ~BFileBackupManager();

    /// Back to the defaults of the automatic backup: off, at 23:00.
    void init();

    const QString& getBackupDir() const;
    /// Kept in the form of FileUtils::formatPath().
    void setBackupDir(const QString& dir);

    bool isAutoBackup() const;
    void setAutoBackup(bool autoBackup);

    const QTime& getAutoBackupTime() const;
    /// An invalid time is ignored; the previous one stays.
    void setAutoBackupTime(const QTime& time);

    const QSet<QString>& getWorkspaceIdsToBackup() const;
    /// An empty id is ignored.
    void addWorkspaceIdToBackup(const QString& workspaceId);
    void addWorkspaceIdsToBackup(const QSet<QString>& workspaceIds);
    void removeWorkspaceIdToBackup(const QString& workspaceId);

    // Deliberately empty: a backup is started, stopped and watched through
    // its BFileBackupWorker. isBackuping() is always false.
    void startBackupImmediately();
    void stopBackup();
    bool isBackuping() const;

private:
    QString m_backupDir;
    bool m_autoBackup = false;
    QTime m_autoBackupTime;
    QSet<QString> m_workspaceIds;
};

} // namespace Trelan::Oku::ZYRController
