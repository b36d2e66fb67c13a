// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BRequestWaiter_p.h>

#include <ZYRController/BActionFinishedCaller.h>
#include <ZYRController/BReplyHandlerBase.h>
#include <ZYRController/BSyncWorkerManger.h>

#include <QPointer>

namespace Trelan::Oku::ZYRController {

BRequestWaiter::BRequestWaiter(int timeoutMs, Reader reader) : m_timeoutMs(timeoutMs), m_reader(std::move(reader)) { }

BRequestWaiter::~BRequestWaiter() = default;

BActionFinishedCallerBase* BRequestWaiter::caller()
{
    return new BActionFinishedCaller<BRequestWaiter>(this, &BRequestWaiter::onFinished);
}

bool BRequestWaiter::wait(BReplyHandlerBase* handler)
{
    QPointer<BReplyHandlerBase> request(handler);
    if (!m_answered && request) {
        BSyncWorkerManger waiter(m_timeoutMs);
        waiter.addWorker(&m_done);
        // A cancelled request never calls back; its handler's end ends the wait.
        QObject::connect(handler, &QObject::destroyed, &m_done, &BSyncWorker::notifyEnded);
        waiter.wait();
    }
    if (!m_answered && request)
        request->slotCancel();
    return m_answered;
}

void BRequestWaiter::onFinished(BReplyHandlerBase* handler)
{
    m_reader(handler);
    m_answered = true;
    m_done.notifyEnded();
}

} // namespace Trelan::Oku::ZYRController
