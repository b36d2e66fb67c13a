// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ZYRReplyRegistry_p.h"

#include "ZYRServiceLogging_p.h"

#include <ZYRInterface/INetworkReplyHandler.h>

#include <QList>
#include <QNetworkReply>
#include <QPair>
#include <QPointer>
#include <QThread>

namespace Trelan::Oku::ZYRService {

using ZYRInterface::INetworkReplyHandler;

namespace {

// Cancels one request on its own thread. Through the handler, when there is
// one, so that it finishes as cancelled and never calls its owner back: the
// owner may be the very object whose destructor asked for the cancel.
void cancelRequest(const QPointer<QNetworkReply>& reply, const QPointer<INetworkReplyHandler>& handler)
{
    if (!reply || reply->isFinished())
        return;
    if (handler)
        handler->slotCancel();
    // A handler that had lost its reply cannot abort it; do it here.
    if (reply && !reply->isFinished())
        reply->abort();
}

} // namespace

ZYRReplyRegistry& ZYRReplyRegistry::instance()
{
    static ZYRReplyRegistry registry;
    return registry;
}

void ZYRReplyRegistry::add(QNetworkReply* reply, INetworkReplyHandler* handler)
{
    {
        const std::lock_guard<std::mutex> locker(m_mutex);
        m_entries.insert(reply, Entry{ handler, QThread::currentThread() });
    }
    // Both without a context object, so both run directly on the reply's
    // thread; destroyed() comes before ~QObject drops posted events, which
    // is what makes posting a cancel under the mutex safe (cancelAll).
    QObject::connect(reply, &QNetworkReply::finished, [this, reply] { remove(reply); });
    QObject::connect(reply, &QObject::destroyed, [this, reply] { remove(reply); });
}

void ZYRReplyRegistry::forgetHandler(QNetworkReply* reply)
{
    const std::lock_guard<std::mutex> locker(m_mutex);
    const auto it = m_entries.find(reply);
    if (it != m_entries.end())
        it->handler = nullptr;
}

void ZYRReplyRegistry::remove(QNetworkReply* reply)
{
    const std::lock_guard<std::mutex> locker(m_mutex);
    m_entries.remove(reply);
}

void ZYRReplyRegistry::cancelAll()
{
    QThread* const current = QThread::currentThread();
    int elsewhere = 0;
    {
        const std::lock_guard<std::mutex> locker(m_mutex);
        for (auto it = m_entries.cbegin(); it != m_entries.cend(); ++it) {
            if (it->thread == current)
                continue;
            QNetworkReply* const reply = it.key();
            // The reply cannot be destroyed while we hold the mutex (its
            // destroyed() hook waits for it), and the posted call is dropped
            // if it is destroyed before the call runs.
            QMetaObject::invokeMethod(
                    reply, [this, reply] { cancelOne(reply); }, Qt::QueuedConnection);
            ++elsewhere;
        }
    }
    const int here = cancelCurrentThread();
    qCDebug(lcService) << "cancelling" << here << "requests on this thread and" << elsewhere << "on others";
}

int ZYRReplyRegistry::cancelCurrentThread()
{
    QList<QPair<QPointer<QNetworkReply>, QPointer<INetworkReplyHandler>>> mine;
    {
        QThread* const current = QThread::currentThread();
        const std::lock_guard<std::mutex> locker(m_mutex);
        for (auto it = m_entries.cbegin(); it != m_entries.cend(); ++it) {
            if (it->thread == current)
                mine.append({ QPointer<QNetworkReply>(it.key()), QPointer<INetworkReplyHandler>(it->handler) });
        }
    }
    // Outside the mutex: cancelling finishes replies, which unregister.
    for (const auto& request : mine)
        cancelRequest(request.first, request.second);
    return int(mine.size());
}

void ZYRReplyRegistry::cancelOne(QNetworkReply* reply)
{
    INetworkReplyHandler* handler = nullptr;
    {
        const std::lock_guard<std::mutex> locker(m_mutex);
        const auto it = m_entries.constFind(reply);
        if (it == m_entries.cend())
            return; // finished meanwhile
        handler = it->handler;
    }
    cancelRequest(QPointer<QNetworkReply>(reply), QPointer<INetworkReplyHandler>(handler));
}

} // namespace Trelan::Oku::ZYRService
