// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BAddFavoriteFilesHandler.h>

namespace Trelan::Oku::ZYRController {

BAddFavoriteFilesHandler::BAddFavoriteFilesHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                                                   const QList<QWeakPointer<ZYRModel::MFile>>& files)
    : BReplyHandlerBase(caller), m_workspaceId(workspaceId), m_files(files)
{
}

BAddFavoriteFilesHandler::~BAddFavoriteFilesHandler() = default;

QString BAddFavoriteFilesHandler::workspaceId() const
{
    return m_workspaceId;
}

const QList<QWeakPointer<ZYRModel::MFile>>& BAddFavoriteFilesHandler::filesToAdd() const
{
    return m_files;
}

} // namespace Trelan::Oku::ZYRController
