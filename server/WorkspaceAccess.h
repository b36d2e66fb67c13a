// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "Records.h"

#include <cstdint>
#include <string>

struct ServerContext;

// The caller's standing in a workspace: 404 for an unknown workspace, 403
// for a non-member or a privilege value below the request's threshold.
// Callers hold a Database::Transaction.
struct WorkspaceAccess {
    WorkspaceRecord workspace;
    MemberRecord member;
    std::int64_t privilege = 0;

    bool isManager() const;

    static WorkspaceAccess require(ServerContext& context, const std::string& workspaceId, const std::string& userId,
                                   std::int64_t threshold);
};
