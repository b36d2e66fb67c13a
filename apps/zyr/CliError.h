// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QString>

#include <exception>

namespace Trelan::Oku::ZYRCli {

/// The exit codes of zyr (docs/cli.md).
enum class ExitCode {
    Success = 0,
    Failure = 1, ///< the operation failed: unknown path, refused name, failed transfer
    Usage = 2, ///< the command line or its arguments are wrong
    NotSignedIn = 3, ///< no session, an expired one, a wrong password or a missing privilege
    Unreachable = 4, ///< no connection to the server, or no answer in time
    Interrupted = 130, ///< Ctrl-C (or SIGTERM); unfinished transfers stay queued
};

/// Ends a command with a one-line message and an exit code. Thrown only
/// from the command code itself, never from a slot the event loop calls.
class CliError : public std::exception {
public:
    CliError(ExitCode code, const QString& message);

    ExitCode code() const { return m_code; }
    const QString& message() const { return m_message; }
    const char* what() const noexcept override;

private:
    ExitCode m_code;
    QString m_message;
    QByteArray m_utf8;
};

} // namespace Trelan::Oku::ZYRCli
