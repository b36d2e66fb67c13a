// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QTimer>

namespace Trelan::Oku::ZYRController {

/// The transfer queue's speed: the bytes counted between two ticks of its
/// timer become a sample in bytes per second, and the speed is the average
/// of the sample and the previous speed (an exponential average of weight
/// one half, truncated). The timer runs only while transfers run; the owner
/// connects its timeout to whatever calls tick().
class BTransferSpeedMeter {
public:
    explicit BTransferSpeedMeter(int tickMs);

    QTimer* timer();
    void count(qint64 bytes);
    void tick();
    int speed() const;
    void reset();
    /// Starts the timer from a speed of 0 when \a running and it is not
    /// running yet; stops it and zeroes the speed when not \a running.
    void setRunning(bool running);

private:
    QTimer m_timer;
    int m_speed = 0;
    int m_counter = 0;
};

} // namespace Trelan::Oku::ZYRController
