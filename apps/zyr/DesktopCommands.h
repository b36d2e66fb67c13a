// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BFileBackupManager.h>

namespace Trelan::Oku::ZYRController {
class BVersionUpdater;
}

namespace Trelan::Oku::ZYRCli {

class CommandContext;

/// What the desktop client offers beside the file tree: editing a file in
/// its local program, the backup, the version updater and the cache of
/// copies opened for editing.
class DesktopCommands {
public:
    explicit DesktopCommands(CommandContext& context);

    void edit();
    void backupConfig();
    void backupRun();
    void updateCheck();
    void updateDownload();
    void cacheSize();
    void cacheClear();

private:
    ZYRController::BFileBackupManager loadBackupSettings() const;
    void saveBackupSettings(const ZYRController::BFileBackupManager& backup) const;
    void printBackupSettings(const ZYRController::BFileBackupManager& backup) const;
    /// Checks the version list; true when a newer version is available.
    bool checkVersion(ZYRController::BVersionUpdater& updater);

    CommandContext& m_context;
};

} // namespace Trelan::Oku::ZYRCli
