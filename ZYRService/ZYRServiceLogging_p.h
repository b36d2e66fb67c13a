// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <QLoggingCategory>

namespace Trelan::Oku::ZYRService {

// Requests are logged by method and path only: never their query, headers
// (the Authorization header carries the token) or bodies (a password).
Q_DECLARE_LOGGING_CATEGORY(lcService)

} // namespace Trelan::Oku::ZYRService
