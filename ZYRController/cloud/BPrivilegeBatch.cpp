// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BPrivilegeBatch_p.h>

namespace Trelan::Oku::ZYRController {

BPrivilegeBatch::BPrivilegeBatch(const QList<QSharedPointer<ZYRModel::MFile>>& files, Send send)
    : m_send(std::move(send))
{
    m_files.reserve(files.size());
    for (const QSharedPointer<ZYRModel::MFile>& file : files)
        m_files.append(file);
}

BPrivilegeBatch::~BPrivilegeBatch() = default;

void BPrivilegeBatch::start()
{
    for (int i = 0; i < InFlight && m_next < m_files.size(); ++i)
        sendNext();
    if (m_answered == m_files.size() && !m_done.hasEnded())
        m_done.notifyEnded();
}

ISyncWorker* BPrivilegeBatch::done()
{
    return &m_done;
}

void BPrivilegeBatch::sendNext()
{
    while (m_next < m_files.size()) {
        const QSharedPointer<ZYRModel::MFile> file = m_files.at(m_next++).toStrongRef();
        ISyncWorker* notifier = file ? m_send(file) : nullptr;
        if (notifier) {
            connect(notifier, &ISyncWorker::ended, this, &BPrivilegeBatch::onAnswered);
            return;
        }
        ++m_answered; // gone, or not sent: nothing to wait for
    }
}

void BPrivilegeBatch::onAnswered()
{
    ++m_answered;
    sendNext();
    if (m_answered == m_files.size() && !m_done.hasEnded())
        m_done.notifyEnded();
}

} // namespace Trelan::Oku::ZYRController
