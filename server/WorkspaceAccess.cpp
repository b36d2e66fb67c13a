// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "WorkspaceAccess.h"

#include "ApiError.h"
#include "Privilege.h"
#include "ServerContext.h"

bool WorkspaceAccess::isManager() const
{
    return Privilege::isManager(member.role);
}

WorkspaceAccess WorkspaceAccess::require(ServerContext& context, const std::string& workspaceId,
                                         const std::string& userId, std::int64_t threshold)
{
    auto workspace = context.workspaces.workspace(workspaceId);
    if (!workspace) {
        throw ApiError::notFound("unknown workspace");
    }
    auto member = context.workspaces.member(workspaceId, userId);
    if (!member) {
        throw ApiError::forbidden("not a member of this workspace");
    }
    WorkspaceAccess access;
    access.workspace = *workspace;
    access.member = *member;
    access.privilege = Privilege::effectiveValue(member->role, member->maxPrivilege);
    if (access.privilege < threshold) {
        throw ApiError::forbidden("privilege too low for this request");
    }
    return access;
}
