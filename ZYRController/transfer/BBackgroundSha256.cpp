// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BBackgroundSha256_p.h>

#include <ZYRController/BSha256Hasher_p.h>

#include <QFile>

#ifdef Q_OS_LINUX
#  include <pthread.h>
#endif

namespace Trelan::Oku::ZYRController {

BBackgroundSha256::BBackgroundSha256(const QString& keptFile, qint64 keptSize)
    : m_keptFile(keptFile), m_keptSize(keptSize), m_ring(new char[PieceSize * PieceCount])
{
    m_thread = std::thread([this] { run(); });
}

BBackgroundSha256::~BBackgroundSha256()
{
    {
        std::unique_lock lock(m_mutex);
        m_abandoned = true;
        m_changed.notify_all();
    }
    m_thread.join();
}

char* BBackgroundSha256::piece()
{
    std::unique_lock lock(m_mutex);
    // A thread that has ended (the kept bytes unreadable) holds no piece.
    while (m_submitted - m_hashed >= PieceCount && !m_done)
        m_changed.wait(lock);
    return m_ring.get() + (m_submitted % PieceCount) * PieceSize;
}

void BBackgroundSha256::submit(qint64 size)
{
    std::unique_lock lock(m_mutex);
    if (m_done || size <= 0)
        return;
    m_sizes[m_submitted % PieceCount] = size;
    ++m_submitted;
    m_changed.notify_all();
}

QByteArray BBackgroundSha256::hexResult()
{
    std::unique_lock lock(m_mutex);
    m_closed = true;
    m_changed.notify_all();
    while (!m_done)
        m_changed.wait(lock);
    return m_result;
}

void BBackgroundSha256::run()
{
#ifdef Q_OS_LINUX
    // Named for profilers; it would otherwise carry its creator's name.
    pthread_setname_np(pthread_self(), "zyr-sha256");
#endif
    BSha256Hasher hasher;
    const bool ok = hashKeptBytes(hasher);
    std::unique_lock lock(m_mutex);
    while (ok && !m_abandoned) {
        if (m_hashed == m_submitted) {
            if (m_closed)
                break;
            m_changed.wait(lock);
            continue;
        }
        const quint64 index = m_hashed % PieceCount;
        const qint64 size = m_sizes[index];
        // The writer leaves a submitted piece alone until it is counted as hashed.
        lock.unlock();
        hasher.addData(m_ring.get() + index * PieceSize, size);
        lock.lock();
        ++m_hashed;
        m_changed.notify_all();
    }
    m_result = ok && !m_abandoned ? hasher.hexResult() : QByteArray();
    m_done = true;
    m_changed.notify_all();
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
        std::unique_lock lock(m_mutex);
        if (m_abandoned)
            return false;
    }
    return true;
}

} // namespace Trelan::Oku::ZYRController
