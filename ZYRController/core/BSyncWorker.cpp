// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BSyncWorker.h>

namespace Trelan::Oku::ZYRController {

BSyncWorker::BSyncWorker(QObject* parent) : ISyncWorker(parent) { }

BSyncWorker::~BSyncWorker() = default;

void BSyncWorker::notifyStarted()
{
    Q_EMIT started();
}

void BSyncWorker::notifyEnded()
{
    m_ended = true;
    Q_EMIT ended();
}

bool BSyncWorker::hasEnded() const
{
    return m_ended;
}

} // namespace Trelan::Oku::ZYRController
