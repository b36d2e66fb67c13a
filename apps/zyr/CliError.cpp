// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "CliError.h"

namespace Trelan::Oku::ZYRCli {

CliError::CliError(ExitCode code, const QString& message) : m_code(code), m_message(message), m_utf8(message.toUtf8())
{
}

const char* CliError::what() const noexcept
{
    return m_utf8.constData();
}

} // namespace Trelan::Oku::ZYRCli
