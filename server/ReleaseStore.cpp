// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "ReleaseStore.h"

#include "Database.h"

ReleaseStore::ReleaseStore(Database& db) : m_db(db) { }

void ReleaseStore::setVersionsJson(const std::string& json)
{
    m_db.setMetaValue("versions", json);
}

std::string ReleaseStore::versionsJson()
{
    return m_db.metaValue("versions");
}

void ReleaseStore::insertInstaller(const Installer& installer)
{
    m_db.prepare("INSERT INTO installers(name, digest, size) VALUES(?,?,?)")
            .bindAll(installer.name, installer.digest, installer.size)
            .run();
}

std::optional<ReleaseStore::Installer> ReleaseStore::installer(const std::string& name)
{
    auto s = m_db.prepare("SELECT name, digest, size FROM installers WHERE name = ?");
    s.bindAll(name);
    if (!s.step()) {
        return std::nullopt;
    }
    return Installer{ s.columnText(0), s.columnText(1), s.columnInt(2) };
}

void ReleaseStore::addInstallInfo(const std::string& json, std::int64_t receivedTime)
{
    m_db.prepare("INSERT INTO install_info(body, received_time) VALUES(?,?)").bindAll(json, receivedTime).run();
}

std::vector<std::pair<std::string, std::int64_t>> ReleaseStore::installInfos()
{
    auto s = m_db.prepare("SELECT body, received_time FROM install_info ORDER BY seq");
    std::vector<std::pair<std::string, std::int64_t>> result;
    while (s.step()) {
        result.emplace_back(s.columnText(0), s.columnInt(1));
    }
    return result;
}
