// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ShareLinkStore.h"

#include "CryptoUtil.h"
#include "Database.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace {
const char* const LinkColumns = "id, token, workspace_id, creator_id, file_ids, encrypt, password, expire_time, "
                                "preview, download, create_time";

ShareLinkRecord readLink(const SqlStatement& s)
{
    ShareLinkRecord l;
    l.id = s.columnText(0);
    l.token = s.columnText(1);
    l.workspaceId = s.columnText(2);
    l.creatorId = s.columnText(3);
    const auto ids = nlohmann::json::parse(s.columnText(4), nullptr, false);
    if (ids.is_array()) {
        for (const auto& id : ids) {
            if (id.is_string()) {
                l.fileIds.push_back(id.get<std::string>());
            }
        }
    }
    l.encrypt = s.columnBool(5);
    l.password = s.columnText(6);
    l.expireTime = s.columnInt(7);
    l.preview = s.columnBool(8);
    l.download = s.columnBool(9);
    l.createTime = s.columnInt(10);
    return l;
}

std::string idsJson(const std::vector<std::string>& ids)
{
    return nlohmann::json(ids).dump();
}
} // namespace

ShareLinkStore::ShareLinkStore(Database& db) : m_db(db) { }

std::string ShareLinkStore::newLinkId()
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "sl-%06lld", static_cast<long long>(m_db.nextCounter("link")));
    return buffer;
}

std::string ShareLinkStore::newToken()
{
    for (;;) {
        const std::string token = CryptoUtil::randomHex(8);
        auto s = m_db.prepare("SELECT 1 FROM share_links WHERE token = ?");
        s.bindAll(token);
        if (!s.step()) {
            return token;
        }
    }
}

void ShareLinkStore::insert(const ShareLinkRecord& l)
{
    m_db.prepare(std::string("INSERT INTO share_links(") + LinkColumns + ") VALUES(?,?,?,?,?,?,?,?,?,?,?)")
            .bindAll(l.id, l.token, l.workspaceId, l.creatorId, idsJson(l.fileIds), l.encrypt, l.password, l.expireTime,
                     l.preview, l.download, l.createTime)
            .run();
}

void ShareLinkStore::update(const ShareLinkRecord& l)
{
    m_db.prepare("UPDATE share_links SET encrypt = ?, password = ?, expire_time = ?, preview = ?, download = ? "
                 "WHERE id = ?")
            .bindAll(l.encrypt, l.password, l.expireTime, l.preview, l.download, l.id)
            .run();
}

std::optional<ShareLinkRecord> ShareLinkStore::find(const std::string& workspaceId, const std::string& idOrToken)
{
    auto s = m_db.prepare(std::string("SELECT ") + LinkColumns
                          + " FROM share_links WHERE workspace_id = ? AND (id = ? OR token = ?)");
    s.bindAll(workspaceId, idOrToken, idOrToken);
    if (!s.step()) {
        return std::nullopt;
    }
    return readLink(s);
}

std::vector<ShareLinkRecord> ShareLinkStore::createdBy(const std::string& workspaceId, const std::string& creatorId)
{
    auto s = m_db.prepare(std::string("SELECT ") + LinkColumns
                          + " FROM share_links WHERE workspace_id = ? AND creator_id = ? ORDER BY seq");
    s.bindAll(workspaceId, creatorId);
    std::vector<ShareLinkRecord> result;
    while (s.step()) {
        result.push_back(readLink(s));
    }
    return result;
}

void ShareLinkStore::remove(const std::string& id)
{
    m_db.prepare("DELETE FROM share_links WHERE id = ?").bindAll(id).run();
}
