// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

// Logging category shared by the reply handlers. Handlers log statuses and
// shapes of answers, never bodies: a sign-in answer carries the access token.

#include <QLoggingCategory>

namespace Trelan::Oku::ZYRController {
Q_DECLARE_LOGGING_CATEGORY(lcReply)
} // namespace Trelan::Oku::ZYRController
