// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "UploadStore.h"

#include "Database.h"

#include <cstdio>

namespace {
UploadRecord readUpload(const SqlStatement& s)
{
    UploadRecord u;
    u.id = s.columnText(0);
    u.workspaceId = s.columnText(1);
    u.path = s.columnText(2);
    u.size = s.columnInt(3);
    u.createTime = s.columnInt(4);
    u.updateTime = s.columnInt(5);
    return u;
}
} // namespace

UploadStore::UploadStore(Database& db) : m_db(db) { }

std::string UploadStore::newUploadId()
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "up-%06lld", static_cast<long long>(m_db.nextCounter("upload")));
    return buffer;
}

void UploadStore::insert(const UploadRecord& u)
{
    m_db.prepare("INSERT INTO uploads(id, workspace_id, path, size, create_time, update_time) VALUES(?,?,?,?,?,?)")
            .bindAll(u.id, u.workspaceId, u.path, u.size, u.createTime, u.updateTime)
            .run();
}

std::optional<UploadRecord> UploadStore::find(const std::string& workspaceId, const std::string& path)
{
    auto s = m_db.prepare("SELECT id, workspace_id, path, size, create_time, update_time FROM uploads "
                          "WHERE workspace_id = ? AND path = ?");
    s.bindAll(workspaceId, path);
    if (!s.step()) {
        return std::nullopt;
    }
    return readUpload(s);
}

std::optional<UploadRecord> UploadStore::byId(const std::string& id)
{
    auto s = m_db.prepare("SELECT id, workspace_id, path, size, create_time, update_time FROM uploads WHERE id = ?");
    s.bindAll(id);
    if (!s.step()) {
        return std::nullopt;
    }
    return readUpload(s);
}

void UploadStore::touch(const std::string& id, std::int64_t updateTime)
{
    m_db.prepare("UPDATE uploads SET update_time = ? WHERE id = ?").bindAll(updateTime, id).run();
}

void UploadStore::remove(const std::string& id)
{
    m_db.prepare("DELETE FROM uploads WHERE id = ?").bindAll(id).run();
}

std::vector<UploadRecord> UploadStore::under(const std::string& workspaceId, const std::string& path)
{
    // substr() instead of LIKE: names may contain % and _.
    const std::string prefix = path == "/" ? "/" : path + "/";
    auto s = m_db.prepare("SELECT id, workspace_id, path, size, create_time, update_time FROM uploads "
                          "WHERE workspace_id = ? AND (path = ? OR substr(path, 1, ?) = ?)");
    s.bindAll(workspaceId, path, static_cast<std::int64_t>(prefix.size()), prefix);
    std::vector<UploadRecord> result;
    while (s.step()) {
        result.push_back(readUpload(s));
    }
    return result;
}
