// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BSimpleResultHandler.h>

#include <ZYRModel/MFile.h>

#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

/// A simple-result handler ({"result": "success"}, any letter case) for a
/// document change that names files: the workspace id and the files ride
/// along for the owner.
class ZYRCONTROLLER_EXPORT BFileSimpleResultHandler : public BSimpleResultHandler {
    Q_OBJECT
public:
    explicit BFileSimpleResultHandler(BActionFinishedCallerBase* caller, const QString& workspaceId = QString(),
                                      const QList<QWeakPointer<ZYRModel::MFile>>& files = {});
    ~BFileSimpleResultHandler() override;

    QString workspaceId() const;
    const QList<QWeakPointer<ZYRModel::MFile>>& files() const;

private:
    QString m_workspaceId;
    QList<QWeakPointer<ZYRModel::MFile>> m_files;
};

} // namespace Trelan::Oku::ZYRController
