// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRController/BQueryAllWorkspaceHandler.h>

#include <ZYRModel/MWorkspace.h>

namespace Trelan::Oku::ZYRController {

BQueryAllWorkspaceHandler::BQueryAllWorkspaceHandler(BActionFinishedCallerBase* caller, bool merge)
    : BReplyHandlerBase(caller), m_merge(merge)
{
}

BQueryAllWorkspaceHandler::~BQueryAllWorkspaceHandler()
{
    clearWorkspaces();
}

QList<ZYRModel::MWorkspace*>* BQueryAllWorkspaceHandler::workspaces()
{
    return &m_workspaces;
}

bool BQueryAllWorkspaceHandler::isMerge() const
{
    return m_merge;
}

void BQueryAllWorkspaceHandler::parseReply()
{
    QJsonObject root;
    if (!readRootObject(root))
        return;
    clearWorkspaces();
    ZYRModel::MWorkspace::fromJson(root, m_workspaces);
}

void BQueryAllWorkspaceHandler::clearWorkspaces()
{
    qDeleteAll(m_workspaces);
    m_workspaces.clear();
}

} // namespace Trelan::Oku::ZYRController
