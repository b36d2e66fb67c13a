// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BBackgroundSha256_p.h>

#include <ZYRController/BSha256Hasher_p.h>

#include <QFile>
#include <QThread>

namespace Trelan::Oku::ZYRController {

BBackgroundSha256::BBackgroundSha256(const QString& keptFile, qint64 keptSize)
    : m_keptFile(keptFile), m_keptSize(keptSize), m_ring(new char[PieceSize * PieceCount])
{
    m_thread.reset(QThread::create([this] { run(); }));
    m_thread->setObjectName(QStringLiteral("zyr-sha256"));
    m_thread->start();
}

BBackgroundSha256::~BBackgroundSha256()
{
    {
        QMutexLocker lock(&m_mutex);
        m_abandoned = true;
        m_changed.wakeAll();
    }
    m_thread->wait();
}

char* BBackgroundSha256::piece()
{
    QMutexLocker lock(&m_mutex);
    // A thread that has ended (the kept bytes unreadable) holds no piece.
    while (m_submitted - m_hashed >= PieceCount && !m_done)
        m_changed.wait(&m_mutex);
    return m_ring.get() + (m_submitted % PieceCount) * PieceSize;
}

void BBackgroundSha256::submit(qint64 size)
{
    QMutexLocker lock(&m_mutex);
    if (m_done || size <= 0)
        return;
    m_sizes[m_submitted % PieceCount] = size;
    ++m_submitted;
    m_changed.wakeAll();
}

QByteArray BBackgroundSha256::hexResult()
{
    QMutexLocker lock(&m_mutex);
    m_closed = true;
    m_changed.wakeAll();
    while (!m_done)
        m_changed.wait(&m_mutex);
    return m_result;
}

void BBackgroundSha256::run()
{
    BSha256Hasher hasher;
    const bool ok = hashKeptBytes(hasher);
    QMutexLocker lock(&m_mutex);
    while (ok && !m_abandoned) {
        if (m_hashed == m_submitted) {
            if (m_closed)
                break;
            m_changed.wait(&m_mutex);
            continue;
        }
        const quint64 index = m_hashed % PieceCount;
        const qint64 size = m_sizes[index];
        // The writer leaves a submitted piece alone until it is counted as hashed.
        lock.unlock();
        hasher.addData(m_ring.get() + index * PieceSize, size);
        lock.relock();
        ++m_hashed;
        m_changed.wakeAll();
    }
    m_result = ok && !m_abandoned ? hasher.hexResult() : QByteArray();
    m_done = true;
    m_changed.wakeAll();
}

bool BBackgroundSha256::hashKeptBytes(BSha256Hasher& hasher)
{
    if (m_keptSize <= 0)
        return true;
    // The writer appends behind these bytes and never changes them.
    QFile kept(m_keptFile);
    if (!kept.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return false;
    const std::unique_ptr<char[]> buffer(new char[PieceSize]);
    for (qint64 left = m_keptSize; left > 0;) {
        const qint64 read = kept.read(buffer.get(), qMin(left, PieceSize));
        if (read <= 0)
            return false;
        hasher.addData(buffer.get(), read);
        left -= read;
        QMutexLocker lock(&m_mutex);
        if (m_abandoned)
            return false;
    }
    return true;
}

} // namespace Trelan::Oku::ZYRController
