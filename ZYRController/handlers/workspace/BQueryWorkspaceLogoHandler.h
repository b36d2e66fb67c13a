// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

namespace Trelan::Oku::ZYRController {

/// Handler of the workspace-logo request: keeps the image bytes as sent and
/// the workspace id it was asked for.
class ZYRCONTROLLER_EXPORT BQueryWorkspaceLogoHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BQueryWorkspaceLogoHandler(BActionFinishedCallerBase* caller, const QString& workspaceId);
    ~BQueryWorkspaceLogoHandler() override;

    QString workspaceId() const;
    QByteArray logoData() const;

protected:
    void parseReply() override;

private:
    QString m_workspaceId;
    QByteArray m_logoData;
};

} // namespace Trelan::Oku::ZYRController
