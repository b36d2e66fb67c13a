// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <cstdint>
#include <optional>
#include <string>

class Database;
class AccountStore;

// Passwords (salted PBKDF2-HMAC-SHA256) and access tokens (random, stored
// hashed, expiring after the configured lifetime).
class AuthService {
public:
    static constexpr int PasswordIterations = 100000;

    struct PasswordHash {
        std::string salt;
        std::string hash;
        int iterations = 0;
    };

    struct IssuedToken {
        std::string accessToken;
        std::string refreshToken;
        std::int64_t expiresIn = 0; // seconds
    };

    AuthService(Database& db, AccountStore& accounts, std::int64_t tokenTtlSeconds);

    static PasswordHash hashPassword(const std::string& password);

    // nullopt for an unknown account or a wrong password.
    std::optional<IssuedToken> signIn(const std::string& account, const std::string& password);
    // The user named by an "Authorization: Bearer <token>" value, if the
    // token is known and not expired.
    std::optional<std::string> authenticate(const std::string& authorization);
    // The token of an "Authorization: Bearer <token>" value (the scheme in
    // any letter case); nullopt for any other form.
    static std::optional<std::string> bearerToken(const std::string& authorization);
    // Lowercase hex SHA-256 of a token, the form the database keeps.
    static std::string tokenHash(const std::string& token);

private:
    Database& m_db;
    AccountStore& m_accounts;
    std::int64_t m_ttlSeconds;
};
