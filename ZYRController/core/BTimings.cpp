// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BTimings.h>

#include <QMutex>
#include <QMutexLocker>

namespace Trelan::Oku::ZYRController {

namespace {
// Written only by BTimings::Override (tests); read when objects are made,
// possibly on worker threads, hence the mutex.
QMutex s_mutex;
BTimings* s_override = nullptr;
} // namespace

BTimings BTimings::current()
{
    QMutexLocker lock(&s_mutex);
    return s_override ? *s_override : BTimings();
}

BTimings::Override::Override(const BTimings& timings) : m_installed(new BTimings(timings))
{
    QMutexLocker lock(&s_mutex);
    m_previous = s_override;
    s_override = m_installed;
}

BTimings::Override::~Override()
{
    {
        QMutexLocker lock(&s_mutex);
        s_override = m_previous;
    }
    delete m_installed;
}

} // namespace Trelan::Oku::ZYRController
