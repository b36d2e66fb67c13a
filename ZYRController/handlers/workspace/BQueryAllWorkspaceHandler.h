// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRController/BReplyHandlerBase.h>

namespace Trelan::Oku::ZYRModel {
class MWorkspace;
}

namespace Trelan::Oku::ZYRController {

/// Handler of the workspace-list request. It owns every MWorkspace of its
/// list and deletes them with itself: owners copy what they need during
/// their callback and never keep these pointers. The merge flag rides along
/// for the owner.
class ZYRCONTROLLER_EXPORT BQueryAllWorkspaceHandler : public BReplyHandlerBase {
    Q_OBJECT
public:
    BQueryAllWorkspaceHandler(BActionFinishedCallerBase* caller, bool merge);
    ~BQueryAllWorkspaceHandler() override;

    /// The handler's own list (entries still owned by the handler).
    QList<ZYRModel::MWorkspace*>* workspaces();
    bool isMerge() const;

protected:
    void parseReply() override;

private:
    void clearWorkspaces();

    QList<ZYRModel::MWorkspace*> m_workspaces;
    bool m_merge;
};

} // namespace Trelan::Oku::ZYRController
