// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFile.h>

#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

/// Handler of the add-favourites request. The body is not read: a 200 status
/// is success. The workspace id and the files to be marked as favourites
/// ride along, so that the owner reports exactly those files.
class ZYRCONTROLLER_EXPORT BAddFavoriteFilesHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BAddFavoriteFilesHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                             const QList<QWeakPointer<ZYRModel::MFile>>& files);
    ~BAddFavoriteFilesHandler() override;

    QString workspaceId() const;
    const QList<QWeakPointer<ZYRModel::MFile>>& filesToAdd() const;

private:
    QString m_workspaceId;
    QList<QWeakPointer<ZYRModel::MFile>> m_files;
};

} // namespace Trelan::Oku::ZYRController
