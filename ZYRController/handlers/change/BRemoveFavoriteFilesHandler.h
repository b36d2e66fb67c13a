// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <ZYRModel/MFile.h>

#include <QWeakPointer>

namespace Trelan::Oku::ZYRController {

/// Handler of the remove-favourites request. The body is not read: a 200
/// status is success. The workspace id and the files to be removed from the
/// favourites ride along, so that the owner reports exactly those files.
class ZYRCONTROLLER_EXPORT BRemoveFavoriteFilesHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BRemoveFavoriteFilesHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                                const QList<QWeakPointer<ZYRModel::MFile>>& files);
    ~BRemoveFavoriteFilesHandler() override;

    QString workspaceId() const;
    const QList<QWeakPointer<ZYRModel::MFile>>& filesToRemove() const;

private:
    QString m_workspaceId;
    QList<QWeakPointer<ZYRModel::MFile>> m_files;
};

} // namespace Trelan::Oku::ZYRController
