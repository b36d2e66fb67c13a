// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BTransferSpeedMeter_p.h>

#include <limits>

namespace Trelan::Oku::ZYRController {

namespace {
int clampToInt(qint64 value)
{
    return static_cast<int>(
            qBound(qint64(std::numeric_limits<int>::min()), value, qint64(std::numeric_limits<int>::max())));
}
} // namespace

BTransferSpeedMeter::BTransferSpeedMeter(int tickMs)
{
    m_timer.setInterval(tickMs);
}

QTimer* BTransferSpeedMeter::timer()
{
    return &m_timer;
}

void BTransferSpeedMeter::count(qint64 bytes)
{
    m_counter = clampToInt(qint64(m_counter) + bytes);
}

void BTransferSpeedMeter::tick()
{
    const int interval = qMax(1, m_timer.interval());
    // In 64 bits: a fast local transfer overflows 32-bit bytes * 1000.
    const int sample = clampToInt(qint64(m_counter) * 1000 / interval);
    m_counter = 0;
    m_speed = clampToInt((qint64(sample) + m_speed) / 2);
}

int BTransferSpeedMeter::speed() const
{
    return m_speed;
}

void BTransferSpeedMeter::reset()
{
    m_speed = 0;
}

void BTransferSpeedMeter::setRunning(bool running)
{
    if (!running) {
        m_timer.stop();
        m_speed = 0;
    } else if (!m_timer.isActive()) {
        m_timer.start();
        m_speed = 0;
    }
}

} // namespace Trelan::Oku::ZYRController
