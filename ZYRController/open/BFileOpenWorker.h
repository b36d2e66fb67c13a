// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/zyrcontroller_export.h>

#include <ZYRController/BTimings.h>

#include <QString>
#include <QThread>

namespace Trelan::Oku::ZYRController {

/// Opens one local file in the program the desktop associates with it,
/// waits in a thread of its own until the user is done with it, and reports
/// whether the file was changed (its modification time moved strictly
/// later). It never gives up waiting. Its maker connects finished() to
/// deleteLater(), so the worker deletes itself.
class ZYRCONTROLLER_EXPORT BFileOpenWorker : public QThread {
    Q_OBJECT
public:
    BFileOpenWorker(const QString& fileId, const QString& localPath);
    ~BFileOpenWorker() override;

    /// Intervals used by this worker (the open manager passes its own).
    void setTimings(const BTimings& timings);

Q_SIGNALS:
    void openFinished(bool success, bool modified, const QString& fileId);

protected:
    void run() override;

private:
    /// Hands the file to its program and returns when the user is done with
    /// it; false when no program could be started. Defined once per
    /// platform.
    bool openAndWait() const;

    QString m_localPath;
    QString m_fileId;
    BTimings m_timings;
};

} // namespace Trelan::Oku::ZYRController
