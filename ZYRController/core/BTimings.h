// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

namespace Trelan::Oku::ZYRController {

/// Every interval the controller waits for, as named defaults. Production
/// code never changes these.
namespace Defaults {
/// Longest nested wait of the cloud manager for a batch of replies.
inline constexpr int SyncWaitMs = 600000;
/// A transfer without any reply or progress for this long ends.
inline constexpr int InactivityTimeoutMs = 300000;
/// Pause before a failed upload-state query of a transfer is sent again.
inline constexpr int RetryDelayMs = 30000;
/// Batching interval of the transfer store writes.
inline constexpr int DbFlushIntervalMs = 5000;
/// Tick of the transfer speed measurement.
inline constexpr int SpeedTickMs = 500;
/// Pause of the queue after each completed transfer.
inline constexpr int CompletionPauseMs = 100;
/// Polls of the open worker while the local program has the file.
inline constexpr int OpenIdleWaitMs = 3000;
inline constexpr int OpenFallbackSleepMs = 5000;
inline constexpr int OpenExitPollMs = 1000;
inline constexpr int OpenLockPollMs = 5000;
/// A backup without any reply, progress or status change for this long ends.
inline constexpr int BackupInactivityTimeoutMs = 300000;
/// Pause before a failed start-up query of a backup is sent again.
inline constexpr int BackupRetryDelayMs = 30000;
} // namespace Defaults

/// The intervals one object works with. An object takes BTimings::current()
/// when it is made and hands its own timings to the objects it makes
/// (a queue to its workers), so a test shortens every wait of a scenario by
/// installing a BTimings::Override before making the first object:
///
/// \code
///   BTimings fast;
///   fast.inactivityTimeoutMs = 200;
///   BTimings::Override scope(fast);   // until the end of the block
///   BFileTransferManager queue(false);
/// \endcode
///
/// Objects that take a timeout in their constructor (BSyncWorkerManger) are
/// shortened through that argument instead. Nothing but a test installs an
/// override.
struct ZYRCONTROLLER_EXPORT BTimings {
    int syncWaitMs = Defaults::SyncWaitMs;
    int inactivityTimeoutMs = Defaults::InactivityTimeoutMs;
    int retryDelayMs = Defaults::RetryDelayMs;
    int dbFlushIntervalMs = Defaults::DbFlushIntervalMs;
    int speedTickMs = Defaults::SpeedTickMs;
    int completionPauseMs = Defaults::CompletionPauseMs;
    int openIdleWaitMs = Defaults::OpenIdleWaitMs;
    int openFallbackSleepMs = Defaults::OpenFallbackSleepMs;
    int openExitPollMs = Defaults::OpenExitPollMs;
    int openLockPollMs = Defaults::OpenLockPollMs;
    // The backup's own intervals, apart from those of the transfers it
    // queues, so that a test can let the backup give up before a transfer.
    int backupInactivityTimeoutMs = Defaults::BackupInactivityTimeoutMs;
    int backupRetryDelayMs = Defaults::BackupRetryDelayMs;

    /// The defaults, or the innermost Override in force.
    static BTimings current();

    /// Installs shortened timings for the lifetime of the object (tests).
    class ZYRCONTROLLER_EXPORT Override {
    public:
        explicit Override(const BTimings& timings);
        ~Override();
        Override(const Override&) = delete;
        Override& operator=(const Override&) = delete;

    private:
        BTimings* m_previous;
        BTimings* m_installed;
    };
};

} // namespace Trelan::Oku::ZYRController
