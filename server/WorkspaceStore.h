// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "Records.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

class Database;

// Workspaces and their members. Callers hold a Database::Transaction.
class WorkspaceStore {
public:
    struct Usage {
        std::int64_t usedSize = 0;
        std::int64_t fileCount = 0;
    };

    explicit WorkspaceStore(Database& db);

    void insertWorkspace(const WorkspaceRecord& workspace, const std::string& logo);
    void insertMember(const MemberRecord& member);

    std::optional<WorkspaceRecord> workspace(const std::string& id);
    // The user's workspaces with the user's membership, in creation order.
    std::vector<std::pair<WorkspaceRecord, MemberRecord>> workspacesOf(const std::string& userId);
    std::optional<MemberRecord> member(const std::string& workspaceId, const std::string& userId);
    std::vector<MemberRecord> members(const std::string& workspaceId);
    std::string creatorOf(const std::string& workspaceId);
    std::optional<std::pair<std::string, std::string>> logo(const std::string& workspaceId);
    Usage usage(const std::string& workspaceId);

private:
    Database& m_db;
};
