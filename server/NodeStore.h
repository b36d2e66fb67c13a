// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "Records.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

class Database;

// Folders and files (current versions only), their attributes and the
// users' favourite marks. Callers hold a Database::Transaction.
class NodeStore {
public:
    explicit NodeStore(Database& db);

    // A new server-made id such as "f-000123", unused by any node.
    std::string newNodeId();

    void insert(const NodeRecord& node, const std::optional<std::string>& thumbnail = std::nullopt);
    std::optional<NodeRecord> node(const std::string& id);
    std::optional<NodeRecord> child(const std::string& workspaceId, const std::string& parentId,
                                    const std::string& name);
    // Folders first, then files, each by name in code-point order (SQLite's
    // BINARY collation compares UTF-8 bytes, which orders by code point).
    std::vector<NodeRecord> children(const std::string& workspaceId, const std::string& parentId);
    void rename(const std::string& id, const std::string& name, std::int64_t updateTime);
    void reparent(const std::string& id, const std::string& parentId, std::int64_t updateTime);
    // Removes the node row, its attributes and favourite marks.
    void remove(const std::string& id);
    std::optional<std::string> thumbnail(const std::string& id);
    void copyThumbnail(const std::string& fromId, const std::string& toId);
    bool isDigestReferenced(const std::string& digest);

    std::vector<std::pair<std::string, std::string>> attributes(const std::string& nodeId);
    void setAttribute(const std::string& nodeId, const std::string& key, const std::string& value);
    void copyAttributes(const std::string& fromId, const std::string& toId);

    void addFavorite(const std::string& userId, const std::string& workspaceId, const std::string& nodeId);
    void removeFavorite(const std::string& userId, const std::string& workspaceId, const std::string& nodeId);
    std::vector<std::string> favorites(const std::string& userId, const std::string& workspaceId);
    // A new version keeps its predecessor's favourite marks.
    void moveFavorites(const std::string& fromId, const std::string& toId);

private:
    Database& m_db;
};
