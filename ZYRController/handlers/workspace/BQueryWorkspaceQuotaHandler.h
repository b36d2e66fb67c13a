// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

#include <memory>

namespace Trelan::Oku::ZYRModel {
class MWorkspaceQuota;
}

namespace Trelan::Oku::ZYRController {

/// Handler of the workspace-quota request: a 200 JSON object becomes an
/// MWorkspaceQuota, owned by the handler until takeQuota(true). The
/// workspace id rides along for the owner.
class ZYRCONTROLLER_EXPORT BQueryWorkspaceQuotaHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BQueryWorkspaceQuotaHandler(BActionFinishedCallerBase* caller, const QString& workspaceId);
    ~BQueryWorkspaceQuotaHandler() override;

    QString workspaceId() const;
    /// The parsed quota, or null. With \a release the caller becomes its
    /// owner and the handler forgets it; without, the handler keeps it.
    ZYRModel::MWorkspaceQuota* takeQuota(bool release);

protected:
    void parseReply() override;

private:
    std::unique_ptr<ZYRModel::MWorkspaceQuota> m_quota;
    QString m_workspaceId;
};

} // namespace Trelan::Oku::ZYRController
