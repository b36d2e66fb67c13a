// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

#include <QAtomicInt>
#include <QList>
#include <QObject>
#include <QPointer>

class QTimer;

namespace Trelan::Oku::ZYRController {

class ISyncWorker;

/// Waits, in a nested event loop on the calling thread, until every listed
/// ISyncWorker has ended or the interval given to the constructor has
/// passed. Other events (replies, timers, input) are delivered meanwhile.
/// Workers are held by guarded pointer; the manager owns only its timer (a
/// child object).
/// After a wait the list is empty and the manager can take the next batch.
/// (The name is spelt so on purpose.)
class ZYRCONTROLLER_EXPORT BSyncWorkerManger : public QObject {
    Q_OBJECT
public:
    explicit BSyncWorkerManger(int intervalMs);
    ~BSyncWorkerManger() override;

    /// Lists \a worker for the next wait and counts each of its ended().
    void addWorker(ISyncWorker* worker);
    /// Returns at once when no worker is listed or all listed workers have
    /// already ended; otherwise runs a local event loop until workFinished().
    /// Afterwards the list is cleared, the count reset and the timer stopped.
    void wait();

Q_SIGNALS:
    /// Every listed worker has ended, or the interval has passed.
    void workFinished();

public Q_SLOTS:
    void onEnded();
    void onTimeout();

private:
    bool allEnded() const;
    void release();

    QAtomicInt m_endedCount;
    QList<QPointer<ISyncWorker>> m_workers;
    QTimer* m_timer; // child, repeating
};

} // namespace Trelan::Oku::ZYRController
