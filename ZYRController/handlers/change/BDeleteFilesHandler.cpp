// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BDeleteFilesHandler.h>

namespace Trelan::Oku::ZYRController {

BDeleteFilesHandler::BDeleteFilesHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                                         QWeakPointer<ZYRModel::MFile> parent,
                                         const QList<QWeakPointer<ZYRModel::MFile>>& files)
    : BReplyHandlerBase(caller), m_workspaceId(workspaceId), m_parent(std::move(parent)), m_filesToDelete(files)
{
}

BDeleteFilesHandler::~BDeleteFilesHandler() = default;

QString BDeleteFilesHandler::workspaceId() const
{
    return m_workspaceId;
}

QWeakPointer<ZYRModel::MFile> BDeleteFilesHandler::parent() const
{
    return m_parent;
}

const QList<QWeakPointer<ZYRModel::MFile>>& BDeleteFilesHandler::filesToDelete() const
{
    return m_filesToDelete;
}

bool BDeleteFilesHandler::isSuccess() const
{
    return m_success;
}

void BDeleteFilesHandler::parseReply()
{
    QJsonObject root;
    if (!readRootObject(root))
        return;
    // Which items were deleted is not read: one is enough.
    m_success = !root.value(QLatin1String("successItems")).toArray().isEmpty();
}

} // namespace Trelan::Oku::ZYRController
