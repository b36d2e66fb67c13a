// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BQueryWorkspaceLogoHandler.h>

namespace Trelan::Oku::ZYRController {

BQueryWorkspaceLogoHandler::BQueryWorkspaceLogoHandler(BActionFinishedCallerBase* caller, const QString& workspaceId)
    : BReplyHandlerBase(caller), m_workspaceId(workspaceId)
{
}

BQueryWorkspaceLogoHandler::~BQueryWorkspaceLogoHandler() = default;

QString BQueryWorkspaceLogoHandler::workspaceId() const
{
    return m_workspaceId;
}

QByteArray BQueryWorkspaceLogoHandler::logoData() const
{
    return m_logoData;
}

void BQueryWorkspaceLogoHandler::parseReply()
{
    m_logoData = readBody();
}

} // namespace Trelan::Oku::ZYRController
