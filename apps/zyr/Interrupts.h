// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QObject>

class QSocketNotifier;

namespace Trelan::Oku::ZYRCli {

/// Ctrl-C and SIGTERM as an event: the first one asks the running command
/// to stop (so that the transfer queue is written back and its running
/// records are kept as interrupted); a second Ctrl-C ends the process at
/// once. The signal handler only writes to a socket pair, which the event
/// loop reads.
class Interrupts : public QObject {
    Q_OBJECT
public:
    static Interrupts& instance();
    /// Installs the handlers; call once the application object exists.
    void install();
    bool requested() const { return m_requested; }

Q_SIGNALS:
    void interrupted();

private:
    Interrupts() = default;
    void onSignal();

    QSocketNotifier* m_notifier = nullptr;
    bool m_requested = false;
};

} // namespace Trelan::Oku::ZYRCli
