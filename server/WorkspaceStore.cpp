// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "WorkspaceStore.h"

#include "Database.h"

namespace {
const char* const WorkspaceColumns
        = "w.id, w.name, w.is_default, w.root_id, w.create_time, w.quota_bytes, w.logo IS NOT NULL, w.logo_type";

WorkspaceRecord readWorkspace(const SqlStatement& s)
{
    WorkspaceRecord w;
    w.id = s.columnText(0);
    w.name = s.columnText(1);
    w.isDefault = s.columnBool(2);
    w.rootId = s.columnText(3);
    w.createTime = s.columnInt(4);
    w.quotaBytes = s.columnInt(5);
    w.hasLogo = s.columnBool(6);
    w.logoType = s.columnText(7);
    return w;
}

MemberRecord readMember(const SqlStatement& s, int first)
{
    MemberRecord m;
    m.workspaceId = s.columnText(first);
    m.userId = s.columnText(first + 1);
    m.role = s.columnText(first + 2);
    m.maxPrivilege = s.columnInt(first + 3);
    return m;
}
} // namespace

WorkspaceStore::WorkspaceStore(Database& db) : m_db(db) { }

void WorkspaceStore::insertWorkspace(const WorkspaceRecord& w, const std::string& logo)
{
    auto s = m_db.prepare(
            "INSERT INTO workspaces(id, name, is_default, root_id, create_time, quota_bytes, logo, logo_type) "
            "VALUES(?,?,?,?,?,?,?,?)");
    s.bindAll(w.id, w.name, w.isDefault, w.rootId, w.createTime, w.quotaBytes);
    if (w.hasLogo) {
        s.bindBlob(7, logo);
    } else {
        s.bindNull(7);
    }
    s.bind(8, w.logoType);
    s.run();
}

void WorkspaceStore::insertMember(const MemberRecord& m)
{
    m_db.prepare("INSERT INTO members(workspace_id, user_id, role, max_privilege) VALUES(?,?,?,?)")
            .bindAll(m.workspaceId, m.userId, m.role, m.maxPrivilege)
            .run();
}

std::optional<WorkspaceRecord> WorkspaceStore::workspace(const std::string& id)
{
    auto s = m_db.prepare(std::string("SELECT ") + WorkspaceColumns + " FROM workspaces w WHERE w.id = ?");
    s.bindAll(id);
    if (!s.step()) {
        return std::nullopt;
    }
    return readWorkspace(s);
}

std::vector<std::pair<WorkspaceRecord, MemberRecord>> WorkspaceStore::workspacesOf(const std::string& userId)
{
    auto s = m_db.prepare(std::string("SELECT ") + WorkspaceColumns
                          + ", m.workspace_id, m.user_id, m.role, m.max_privilege FROM workspaces w "
                            "JOIN members m ON m.workspace_id = w.id WHERE m.user_id = ? ORDER BY w.seq");
    s.bindAll(userId);
    std::vector<std::pair<WorkspaceRecord, MemberRecord>> result;
    while (s.step()) {
        result.emplace_back(readWorkspace(s), readMember(s, 8));
    }
    return result;
}

std::optional<MemberRecord> WorkspaceStore::member(const std::string& workspaceId, const std::string& userId)
{
    auto s = m_db.prepare(
            "SELECT workspace_id, user_id, role, max_privilege FROM members WHERE workspace_id = ? AND user_id = ?");
    s.bindAll(workspaceId, userId);
    if (!s.step()) {
        return std::nullopt;
    }
    return readMember(s, 0);
}

std::vector<MemberRecord> WorkspaceStore::members(const std::string& workspaceId)
{
    auto s = m_db.prepare(
            "SELECT workspace_id, user_id, role, max_privilege FROM members WHERE workspace_id = ? ORDER BY seq");
    s.bindAll(workspaceId);
    std::vector<MemberRecord> result;
    while (s.step()) {
        result.push_back(readMember(s, 0));
    }
    return result;
}

std::string WorkspaceStore::creatorOf(const std::string& workspaceId)
{
    auto s = m_db.prepare("SELECT user_id FROM members WHERE workspace_id = ? AND role = 'CREATOR'");
    s.bindAll(workspaceId);
    return s.step() ? s.columnText(0) : std::string();
}

std::optional<std::pair<std::string, std::string>> WorkspaceStore::logo(const std::string& workspaceId)
{
    auto s = m_db.prepare("SELECT logo, logo_type FROM workspaces WHERE id = ? AND logo IS NOT NULL");
    s.bindAll(workspaceId);
    if (!s.step()) {
        return std::nullopt;
    }
    return std::make_pair(s.columnText(0), s.columnText(1));
}

WorkspaceStore::Usage WorkspaceStore::usage(const std::string& workspaceId)
{
    auto s = m_db.prepare(
            "SELECT COALESCE(SUM(size), 0), COUNT(*) FROM nodes WHERE workspace_id = ? AND is_folder = 0");
    s.bindAll(workspaceId);
    Usage usage;
    if (s.step()) {
        usage.usedSize = s.columnInt(0);
        usage.fileCount = s.columnInt(1);
    }
    return usage;
}
