// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "Records.h"

#include <optional>
#include <string>
#include <vector>

class Database;

// Unfinished uploads, at most one per (workspace, path). Callers hold a
// Database::Transaction.
class UploadStore {
public:
    explicit UploadStore(Database& db);

    std::string newUploadId();
    void insert(const UploadRecord& upload);
    std::optional<UploadRecord> find(const std::string& workspaceId, const std::string& path);
    std::optional<UploadRecord> byId(const std::string& id);
    void touch(const std::string& id, std::int64_t updateTime);
    void remove(const std::string& id);
    // Uploads at `path` or below it; used when a folder is deleted.
    std::vector<UploadRecord> under(const std::string& workspaceId, const std::string& path);

private:
    Database& m_db;
};
