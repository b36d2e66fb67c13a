// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class Database;

// The client version list, the installer files and the install reports the
// clients post. Callers hold a Database::Transaction.
class ReleaseStore {
public:
    struct Installer {
        std::string name;
        std::string digest;
        std::int64_t size = 0;
    };

    explicit ReleaseStore(Database& db);

    // The seed's "versions" object as JSON text; empty when there is none.
    void setVersionsJson(const std::string& json);
    std::string versionsJson();

    void insertInstaller(const Installer& installer);
    std::optional<Installer> installer(const std::string& name);

    void addInstallInfo(const std::string& json, std::int64_t receivedTime);
    // (JSON text, receive time), oldest first.
    std::vector<std::pair<std::string, std::int64_t>> installInfos();

private:
    Database& m_db;
};
