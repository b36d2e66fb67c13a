// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "NodeStore.h"

#include "Database.h"

#include <cstdio>

namespace {
const char* const NodeColumns
        = "id, workspace_id, parent_id, name, is_folder, size, digest, revision, create_time, update_time, "
          "thumbnail IS NOT NULL";

NodeRecord readNode(const SqlStatement& s)
{
    NodeRecord n;
    n.id = s.columnText(0);
    n.workspaceId = s.columnText(1);
    n.parentId = s.columnText(2);
    n.name = s.columnText(3);
    n.isFolder = s.columnBool(4);
    n.size = s.columnInt(5);
    n.digest = s.columnText(6);
    n.revision = s.columnInt(7);
    n.createTime = s.columnInt(8);
    n.updateTime = s.columnInt(9);
    n.hasThumbnail = s.columnBool(10);
    return n;
}
} // namespace

NodeStore::NodeStore(Database& db) : m_db(db) { }

std::string NodeStore::newNodeId()
{
    for (;;) {
        char buffer[32];
        std::snprintf(buffer, sizeof buffer, "f-%06lld", static_cast<long long>(m_db.nextCounter("node")));
        // Seeded ids are kept as given, so a made id may already be taken.
        auto s = m_db.prepare("SELECT 1 FROM nodes WHERE id = ?");
        s.bindAll(std::string(buffer));
        if (!s.step()) {
            return buffer;
        }
    }
}

void NodeStore::insert(const NodeRecord& n, const std::optional<std::string>& thumbnail)
{
    auto s = m_db.prepare(
            "INSERT INTO nodes(id, workspace_id, parent_id, name, is_folder, size, digest, revision, create_time, "
            "update_time, thumbnail) VALUES(?,?,?,?,?,?,?,?,?,?,?)");
    s.bindAll(n.id, n.workspaceId, n.parentId, n.name, n.isFolder, n.size, n.digest, n.revision, n.createTime,
              n.updateTime);
    if (thumbnail) {
        s.bindBlob(11, *thumbnail);
    } else {
        s.bindNull(11);
    }
    s.run();
}

std::optional<NodeRecord> NodeStore::node(const std::string& id)
{
    auto s = m_db.prepare(std::string("SELECT ") + NodeColumns + " FROM nodes WHERE id = ?");
    s.bindAll(id);
    if (!s.step()) {
        return std::nullopt;
    }
    return readNode(s);
}

std::optional<NodeRecord> NodeStore::child(const std::string& workspaceId, const std::string& parentId,
                                           const std::string& name)
{
    auto s = m_db.prepare(std::string("SELECT ") + NodeColumns
                          + " FROM nodes WHERE workspace_id = ? AND parent_id = ? AND name = ?");
    s.bindAll(workspaceId, parentId, name);
    if (!s.step()) {
        return std::nullopt;
    }
    return readNode(s);
}

std::vector<NodeRecord> NodeStore::children(const std::string& workspaceId, const std::string& parentId)
{
    auto s = m_db.prepare(std::string("SELECT ") + NodeColumns
                          + " FROM nodes WHERE workspace_id = ? AND parent_id = ? "
                            "ORDER BY is_folder DESC, name COLLATE BINARY");
    s.bindAll(workspaceId, parentId);
    std::vector<NodeRecord> result;
    while (s.step()) {
        result.push_back(readNode(s));
    }
    return result;
}

void NodeStore::rename(const std::string& id, const std::string& name, std::int64_t updateTime)
{
    m_db.prepare("UPDATE nodes SET name = ?, update_time = ? WHERE id = ?").bindAll(name, updateTime, id).run();
}

void NodeStore::reparent(const std::string& id, const std::string& parentId, std::int64_t updateTime)
{
    m_db.prepare("UPDATE nodes SET parent_id = ?, update_time = ? WHERE id = ?")
            .bindAll(parentId, updateTime, id)
            .run();
}

void NodeStore::remove(const std::string& id)
{
    m_db.prepare("DELETE FROM nodes WHERE id = ?").bindAll(id).run();
    m_db.prepare("DELETE FROM attributes WHERE node_id = ?").bindAll(id).run();
    m_db.prepare("DELETE FROM favorites WHERE node_id = ?").bindAll(id).run();
}

std::optional<std::string> NodeStore::thumbnail(const std::string& id)
{
    auto s = m_db.prepare("SELECT thumbnail FROM nodes WHERE id = ? AND thumbnail IS NOT NULL");
    s.bindAll(id);
    if (!s.step()) {
        return std::nullopt;
    }
    return s.columnText(0);
}

void NodeStore::copyThumbnail(const std::string& fromId, const std::string& toId)
{
    m_db.prepare("UPDATE nodes SET thumbnail = (SELECT thumbnail FROM nodes WHERE id = ?) WHERE id = ?")
            .bindAll(fromId, toId)
            .run();
}

bool NodeStore::isDigestReferenced(const std::string& digest)
{
    auto s = m_db.prepare("SELECT 1 FROM nodes WHERE digest = ? AND is_folder = 0 UNION ALL SELECT 1 FROM installers "
                          "WHERE digest = ? "
                          "LIMIT 1");
    s.bindAll(digest, digest);
    return s.step();
}

std::vector<std::pair<std::string, std::string>> NodeStore::attributes(const std::string& nodeId)
{
    auto s = m_db.prepare("SELECT key, value FROM attributes WHERE node_id = ? ORDER BY key COLLATE BINARY");
    s.bindAll(nodeId);
    std::vector<std::pair<std::string, std::string>> result;
    while (s.step()) {
        result.emplace_back(s.columnText(0), s.columnText(1));
    }
    return result;
}

void NodeStore::setAttribute(const std::string& nodeId, const std::string& key, const std::string& value)
{
    m_db.prepare("INSERT INTO attributes(node_id, key, value) VALUES(?,?,?) "
                 "ON CONFLICT(node_id, key) DO UPDATE SET value = excluded.value")
            .bindAll(nodeId, key, value)
            .run();
}

void NodeStore::copyAttributes(const std::string& fromId, const std::string& toId)
{
    m_db.prepare("INSERT OR REPLACE INTO attributes(node_id, key, value) SELECT ?, key, value FROM attributes "
                 "WHERE node_id = ?")
            .bindAll(toId, fromId)
            .run();
}

void NodeStore::addFavorite(const std::string& userId, const std::string& workspaceId, const std::string& nodeId)
{
    m_db.prepare("INSERT OR IGNORE INTO favorites(user_id, workspace_id, node_id) VALUES(?,?,?)")
            .bindAll(userId, workspaceId, nodeId)
            .run();
}

void NodeStore::removeFavorite(const std::string& userId, const std::string& workspaceId, const std::string& nodeId)
{
    m_db.prepare("DELETE FROM favorites WHERE user_id = ? AND workspace_id = ? AND node_id = ?")
            .bindAll(userId, workspaceId, nodeId)
            .run();
}

std::vector<std::string> NodeStore::favorites(const std::string& userId, const std::string& workspaceId)
{
    auto s = m_db.prepare("SELECT node_id FROM favorites WHERE user_id = ? AND workspace_id = ? ORDER BY seq");
    s.bindAll(userId, workspaceId);
    std::vector<std::string> result;
    while (s.step()) {
        result.push_back(s.columnText(0));
    }
    return result;
}

void NodeStore::moveFavorites(const std::string& fromId, const std::string& toId)
{
    m_db.prepare("UPDATE favorites SET node_id = ? WHERE node_id = ?").bindAll(toId, fromId).run();
}
