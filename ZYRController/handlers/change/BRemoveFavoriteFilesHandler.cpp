// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BRemoveFavoriteFilesHandler.h>

namespace Trelan::Oku::ZYRController {

BRemoveFavoriteFilesHandler::BRemoveFavoriteFilesHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                                                         const QList<QWeakPointer<ZYRModel::MFile>>& files)
    : BReplyHandlerBase(caller), m_workspaceId(workspaceId), m_files(files)
{
}

BRemoveFavoriteFilesHandler::~BRemoveFavoriteFilesHandler() = default;

QString BRemoveFavoriteFilesHandler::workspaceId() const
{
    return m_workspaceId;
}

const QList<QWeakPointer<ZYRModel::MFile>>& BRemoveFavoriteFilesHandler::filesToRemove() const
{
    return m_files;
}

} // namespace Trelan::Oku::ZYRController
