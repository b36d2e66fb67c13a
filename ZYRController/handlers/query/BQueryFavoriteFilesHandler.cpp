// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BQueryFavoriteFilesHandler.h>

namespace Trelan::Oku::ZYRController {

BQueryFavoriteFilesHandler::BQueryFavoriteFilesHandler(BActionFinishedCallerBase* caller, const QString& workspaceId)
    : BReplyHandlerBase(caller), m_workspaceId(workspaceId)
{
}

BQueryFavoriteFilesHandler::~BQueryFavoriteFilesHandler() = default;

QString BQueryFavoriteFilesHandler::workspaceId() const
{
    return m_workspaceId;
}

const QList<QSharedPointer<ZYRModel::MFile>>& BQueryFavoriteFilesHandler::files() const
{
    return m_files;
}

void BQueryFavoriteFilesHandler::parseReply()
{
    QJsonObject root;
    if (!readRootObject(root))
        return;
    const QJsonArray items = root.value(QLatin1String("items")).toArray();
    if (items.isEmpty())
        return;
    m_files.clear();
    ZYRModel::MFile::fromJson(items, m_files);
    for (const QSharedPointer<ZYRModel::MFile>& file : std::as_const(m_files))
        file->setWorkspaceId(m_workspaceId);
}

} // namespace Trelan::Oku::ZYRController
