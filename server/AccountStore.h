// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "Records.h"

#include <optional>
#include <string>
#include <utility>

class Database;

// Users and access tokens. Callers hold a Database::Transaction.
class AccountStore {
public:
    explicit AccountStore(Database& db);

    void insertUser(const UserRecord& user, const std::string& avatar);
    std::optional<UserRecord> userById(const std::string& id);
    std::optional<UserRecord> userByAccount(const std::string& account);
    // Image bytes and content type.
    std::optional<std::pair<std::string, std::string>> avatar(const std::string& userId);

    // Tokens are kept as their SHA-256, so the database never holds one
    // that could be replayed.
    void insertToken(const std::string& tokenHash, const std::string& userId, std::int64_t expiresAt);
    std::optional<std::string> userForToken(const std::string& tokenHash, std::int64_t now);
    void removeExpiredTokens(std::int64_t now);

private:
    Database& m_db;
};
