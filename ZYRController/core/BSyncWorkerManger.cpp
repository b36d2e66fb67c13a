// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BSyncWorkerManger.h>

#include <ZYRController/ISyncWorker.h>

#include <QEventLoop>
#include <QTimer>

namespace Trelan::Oku::ZYRController {

BSyncWorkerManger::BSyncWorkerManger(int intervalMs) : m_timer(new QTimer(this))
{
    m_timer->setInterval(intervalMs);
    connect(m_timer, &QTimer::timeout, this, &BSyncWorkerManger::onTimeout);
}

BSyncWorkerManger::~BSyncWorkerManger()
{
    m_timer->stop();
    delete m_timer;
    m_workers.clear();
}

void BSyncWorkerManger::addWorker(ISyncWorker* worker)
{
    if (!worker)
        return;
    m_workers.append(QPointer<ISyncWorker>(worker));
    connect(worker, &ISyncWorker::ended, this, &BSyncWorkerManger::onEnded);
}

void BSyncWorkerManger::wait()
{
    // A worker may have ended before the wait began (an answer delivered
    // while the batch was still being sent): then there is nothing to wait
    // for, and the workFinished() it caused was heard by no loop.
    if (!m_workers.isEmpty() && !allEnded()) {
        m_timer->start();
        QEventLoop loop;
        connect(this, &BSyncWorkerManger::workFinished, &loop, &QEventLoop::quit);
        loop.exec();
    }
    release();
}

void BSyncWorkerManger::onEnded()
{
    // Every ended() counts, a repeated one too.
    if (m_endedCount.fetchAndAddRelaxed(1) + 1 == m_workers.size())
        Q_EMIT workFinished();
}

void BSyncWorkerManger::onTimeout()
{
    Q_EMIT workFinished();
}

bool BSyncWorkerManger::allEnded() const
{
    return m_endedCount.loadRelaxed() >= m_workers.size();
}

void BSyncWorkerManger::release()
{
    // Workers of this batch that are still alive must not count toward the
    // next one.
    for (const QPointer<ISyncWorker>& worker : std::as_const(m_workers)) {
        if (worker)
            disconnect(worker, &ISyncWorker::ended, this, &BSyncWorkerManger::onEnded);
    }
    m_workers.clear();
    m_endedCount.storeRelaxed(0);
    m_timer->stop();
}

} // namespace Trelan::Oku::ZYRController
