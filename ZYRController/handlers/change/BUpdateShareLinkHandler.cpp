// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BUpdateShareLinkHandler.h>

namespace Trelan::Oku::ZYRController {

BUpdateShareLinkHandler::BUpdateShareLinkHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                                                 QWeakPointer<ZYRModel::MFileShareLink> target)
    : BReplyHandlerBase(caller), m_workspaceId(workspaceId), m_target(std::move(target))
{
}

BUpdateShareLinkHandler::~BUpdateShareLinkHandler() = default;

QString BUpdateShareLinkHandler::workspaceId() const
{
    return m_workspaceId;
}

QWeakPointer<ZYRModel::MFileShareLink> BUpdateShareLinkHandler::target() const
{
    return m_target;
}

QSharedPointer<ZYRModel::MFileShareLink> BUpdateShareLinkHandler::shareLink() const
{
    return m_shareLink;
}

void BUpdateShareLinkHandler::parseReply()
{
    QJsonObject data;
    if (!readDataObject(data))
        return;
    auto link = QSharedPointer<ZYRModel::MFileShareLink>::create();
    ZYRModel::MFileShareLink::fromJson(data, *link);
    m_shareLink = link;
}

} // namespace Trelan::Oku::ZYRController
