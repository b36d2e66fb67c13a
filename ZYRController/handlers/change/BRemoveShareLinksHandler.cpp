// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BRemoveShareLinksHandler.h>

namespace Trelan::Oku::ZYRController {

BRemoveShareLinksHandler::BRemoveShareLinksHandler(BActionFinishedCallerBase* caller, const QString& workspaceId,
                                                   const QList<QWeakPointer<ZYRModel::MFileShareLink>>& links)
    : BReplyHandlerBase(caller), m_workspaceId(workspaceId), m_links(links)
{
}

BRemoveShareLinksHandler::~BRemoveShareLinksHandler() = default;

QString BRemoveShareLinksHandler::workspaceId() const
{
    return m_workspaceId;
}

const QList<QWeakPointer<ZYRModel::MFileShareLink>>& BRemoveShareLinksHandler::sharesToRemove() const
{
    return m_links;
}

} // namespace Trelan::Oku::ZYRController
