// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BActionFinishedCallerBase.h>

namespace Trelan::Oku::ZYRController {

BActionFinishedCallerBase::BActionFinishedCallerBase(Deleter deleter) : m_deleter(deleter)
{
    Q_ASSERT(deleter);
}

BActionFinishedCallerBase::~BActionFinishedCallerBase() = default;

void BActionFinishedCallerBase::destroy(BActionFinishedCallerBase* caller)
{
    if (caller && caller->m_deleter)
        caller->m_deleter(caller);
}

} // namespace Trelan::Oku::ZYRController
