// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BFileInfoHandlerBase.h>

#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

class BSyncWorker;
class ISyncWorker;

/// Handler of a file-metadata query, by id (the target node is carried) or
/// by path (the queried path is carried; empty for a query by id).
///
/// An owner that waits for the answer adds notifier() to its waiter and
/// calls notifyEnded() when it is done with the answer. The notifier is a
/// child of the handler; a handler destroyed without having ended (a
/// cancelled request, whose owner is never called) ends it then, so that no
/// wait is left hanging.
class ZYRCONTROLLER_EXPORT BQueryFileMetaHandler : public BFileInfoHandlerBase {
    Q_OBJECT
public:
    BQueryFileMetaHandler(BActionFinishedCallerBase* caller, QWeakPointer<ZYRModel::MFile> file,
                          const QString& queriedPath = QString());
    ~BQueryFileMetaHandler() override;

    /// The node the query was made for; null for a query by path.
    QWeakPointer<ZYRModel::MFile> targetFile() const;
    /// The remote path of a query by path; empty for a query by id.
    QString queriedPath() const;

    ISyncWorker* notifier() const;
    /// Tells the waiter that this request's work (including whatever the
    /// owner did with it) is over.
    void notifyEnded();

private:
    QWeakPointer<ZYRModel::MFile> m_targetFile;
    QString m_queriedPath;
    BSyncWorker* m_notifier; // child object
};

} // namespace Trelan::Oku::ZYRController
