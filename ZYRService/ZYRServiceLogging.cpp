// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ZYRServiceLogging_p.h"

namespace Trelan::Oku::ZYRService {

Q_LOGGING_CATEGORY(lcService, "zyr.service", QtWarningMsg)

} // namespace Trelan::Oku::ZYRService
