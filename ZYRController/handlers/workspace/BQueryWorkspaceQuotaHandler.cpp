// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BQueryWorkspaceQuotaHandler.h>

#include <ZYRModel/MWorkspaceQuota.h>

namespace Trelan::Oku::ZYRController {

BQueryWorkspaceQuotaHandler::BQueryWorkspaceQuotaHandler(BActionFinishedCallerBase* caller, const QString& workspaceId)
    : BReplyHandlerBase(caller), m_workspaceId(workspaceId)
{
}

BQueryWorkspaceQuotaHandler::~BQueryWorkspaceQuotaHandler() = default;

QString BQueryWorkspaceQuotaHandler::workspaceId() const
{
    return m_workspaceId;
}

ZYRModel::MWorkspaceQuota* BQueryWorkspaceQuotaHandler::takeQuota(bool release)
{
    return release ? m_quota.release() : m_quota.get();
}

void BQueryWorkspaceQuotaHandler::parseReply()
{
    QJsonObject root;
    if (!readRootObject(root))
        return;
    auto quota = std::make_unique<ZYRModel::MWorkspaceQuota>();
    ZYRModel::MWorkspaceQuota::fromJson(root, *quota);
    m_quota = std::move(quota);
}

} // namespace Trelan::Oku::ZYRController
