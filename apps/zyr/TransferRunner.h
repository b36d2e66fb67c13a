// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "ProgressView.h"

#include <QElapsedTimer>
#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QString>

namespace Trelan::Oku::ZYRModel {
class MFileTransferItem;
}
namespace Trelan::Oku::ZYRController {
class BFileTransferManager;
}

namespace Trelan::Oku::ZYRCli {

class CloudSession;
class Console;

/// Runs the user's transfer queue until every transfer it knows of has
/// ended, showing progress. Made before the session reads the user, since
/// the queue starts its stored records as soon as it knows the user.
///
/// The queue keeps the slot of a failed upload, deliberately: such a record
/// stays "transferring" and no signal tells of it. When nothing has moved
/// for stallTimeoutMs() while transfers are outstanding, the runner
/// rebuilds the queue from the store: the records that were transferring
/// come back interrupted and start again. A second stall without any
/// transfer finished in between ends the run; those records stay queued.
class TransferRunner : public QObject {
    Q_OBJECT
public:
    /// How a run ended.
    struct Summary {
        int finished = 0;
        int failed = 0; ///< did not finish: failed, or stuck after the second stall
        qint64 bytes = 0;
        qint64 milliseconds = 0;
        QJsonObject toJson() const;
    };

    TransferRunner(CloudSession& session, const Console& console);

    /// Takes the records the queue loaded (call after the user is known):
    /// the waiting and interrupted ones are waited for as well. Returns how
    /// many.
    int adoptQueued();
    /// Puts the failed records back to waiting; returns how many.
    int retryFailed();
    /// Failed records of earlier runs, left alone.
    int failedEarlier() const;
    /// Runs until every transfer ended; Ctrl-C ends the run (the transfers
    /// stay queued) with ExitCode::Interrupted.
    Summary run();

    int stallTimeoutMs() const;
    /// Transfers this run waits for.
    int tracked() const { return int(m_tracks.size()); }

private:
    struct Track {
        QString name;
        bool download = false;
        qint64 size = 0;
        int status = 0;
    };

    ZYRController::BFileTransferManager* queue() const;
    void track(ZYRModel::MFileTransferItem* item);
    void onStatus(ZYRModel::MFileTransferItem* item, int oldStatus, int newStatus);
    void onMoved();
    int outstanding() const;
    void refresh();
    void rebuildQueue();
    static QString displayName(const ZYRModel::MFileTransferItem& item);

    CloudSession& m_session;
    const Console& m_console;
    ProgressView m_view;
    QHash<QString, Track> m_tracks;
    QElapsedTimer m_lastMove;
    int m_finished = 0;
    qint64 m_bytesFinished = 0;
};

} // namespace Trelan::Oku::ZYRCli
