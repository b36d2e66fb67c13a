// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BFileOpenWorker.h>

#include <QDateTime>
#include <QFileInfo>

namespace Trelan::Oku::ZYRController {

BFileOpenWorker::BFileOpenWorker(const QString& fileId, const QString& localPath)
    : m_localPath(localPath), m_fileId(fileId), m_timings(BTimings::current())
{
    // The system thread carries this name: easy to find in a debugger.
    setObjectName(QStringLiteral("zyr-open"));
}

BFileOpenWorker::~BFileOpenWorker() = default;

void BFileOpenWorker::setTimings(const BTimings& timings)
{
    m_timings = timings;
}

void BFileOpenWorker::run()
{
    const QDateTime before = QFileInfo(m_localPath).lastModified();
    if (!openAndWait()) {
        Q_EMIT openFinished(false, false, m_fileId);
        return;
    }
    // Only a strictly later time counts: a time that moved back (a copy
    // restored by the program, a clock set back) is not an edit to upload.
    const QDateTime after = QFileInfo(m_localPath).lastModified();
    Q_EMIT openFinished(true, before.isValid() && after.isValid() && before < after, m_fileId);
}

} // namespace Trelan::Oku::ZYRController
