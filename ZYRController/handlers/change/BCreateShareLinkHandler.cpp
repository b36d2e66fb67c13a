// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BCreateShareLinkHandler.h>

namespace Trelan::Oku::ZYRController {

BCreateShareLinkHandler::BCreateShareLinkHandler(BActionFinishedCallerBase* caller, const QString& workspaceId)
    : BReplyHandlerBase(caller), m_workspaceId(workspaceId)
{
}

BCreateShareLinkHandler::~BCreateShareLinkHandler() = default;

QString BCreateShareLinkHandler::workspaceId() const
{
    return m_workspaceId;
}

QSharedPointer<ZYRModel::MFileShareLink> BCreateShareLinkHandler::shareLink() const
{
    return m_shareLink;
}

void BCreateShareLinkHandler::parseReply()
{
    QJsonObject data;
    if (!readDataObject(data))
        return;
    auto link = QSharedPointer<ZYRModel::MFileShareLink>::create();
    ZYRModel::MFileShareLink::fromJson(data, *link);
    m_shareLink = link;
}

} // namespace Trelan::Oku::ZYRController
