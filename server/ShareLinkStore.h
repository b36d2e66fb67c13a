// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "Records.h"

#include <optional>
#include <string>
#include <vector>

class Database;

// Share links of all workspaces. Callers hold a Database::Transaction.
class ShareLinkStore {
public:
    explicit ShareLinkStore(Database& db);

    std::string newLinkId();
    // 16 lowercase hex characters, unique among links.
    std::string newToken();
    void insert(const ShareLinkRecord& link);
    void update(const ShareLinkRecord& link);
    // By id or by public token.
    std::optional<ShareLinkRecord> find(const std::string& workspaceId, const std::string& idOrToken);
    std::vector<ShareLinkRecord> createdBy(const std::string& workspaceId, const std::string& creatorId);
    void remove(const std::string& id);

private:
    Database& m_db;
};
