// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QString>

#include <functional>

namespace Trelan::Oku::ZYRCli {

/// The one way zyr waits for the controller: the event loop runs until a
/// condition holds, with a time limit and Ctrl-C honoured. Slots connected
/// to the controller's signals record what they saw and call wake(); the
/// waiting code then checks its condition again. Waits may nest.
class EventWait {
public:
    /// Runs the event loop until \a done() is true. Throws CliError with
    /// ExitCode::Interrupted on Ctrl-C, and with ExitCode::Unreachable and
    /// "no answer from the server within N s (<what>)" after \a timeoutMs.
    static void until(const std::function<bool()>& done, int timeoutMs, const QString& what);
    /// Lets the innermost wait check its condition again.
    static void wake();
    /// Runs the event loop for \a msecs (Ctrl-C ends it early, without
    /// throwing).
    static void sleep(int msecs);
};

} // namespace Trelan::Oku::ZYRCli
