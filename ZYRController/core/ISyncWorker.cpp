// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/ISyncWorker.h>

namespace Trelan::Oku::ZYRController {

ISyncWorker::ISyncWorker(QObject* parent) : QObject(parent) { }

ISyncWorker::~ISyncWorker() = default;

} // namespace Trelan::Oku::ZYRController
