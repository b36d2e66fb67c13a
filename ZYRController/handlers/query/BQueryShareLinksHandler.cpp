// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BQueryShareLinksHandler.h>

namespace Trelan::Oku::ZYRController {

BQueryShareLinksHandler::BQueryShareLinksHandler(BActionFinishedCallerBase* caller, const QString& workspaceId)
    : BReplyHandlerBase(caller), m_workspaceId(workspaceId)
{
}

BQueryShareLinksHandler::~BQueryShareLinksHandler() = default;

QString BQueryShareLinksHandler::workspaceId() const
{
    return m_workspaceId;
}

const QList<QSharedPointer<ZYRModel::MFileShareLink>>& BQueryShareLinksHandler::shareLinks() const
{
    return m_shareLinks;
}

void BQueryShareLinksHandler::parseReply()
{
    QJsonObject root;
    if (!readRootObject(root))
        return;
    m_shareLinks.clear();
    ZYRModel::MFileShareLink::fromJson(root.value(QLatin1String("items")).toArray(), m_shareLinks);
}

} // namespace Trelan::Oku::ZYRController
