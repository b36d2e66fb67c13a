// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "AuthService.h"

#include "AccountStore.h"
#include "CryptoUtil.h"
#include "Database.h"
#include "Records.h"

#include <cctype>

AuthService::AuthService(Database& db, AccountStore& accounts, std::int64_t tokenTtlSeconds)
    : m_db(db), m_accounts(accounts), m_ttlSeconds(tokenTtlSeconds)
{
}

AuthService::PasswordHash AuthService::hashPassword(const std::string& password)
{
    PasswordHash result;
    result.salt = CryptoUtil::randomHex(16);
    result.iterations = PasswordIterations;
    result.hash = CryptoUtil::pbkdf2Hex(password, result.salt, result.iterations);
    return result;
}

std::optional<AuthService::IssuedToken> AuthService::signIn(const std::string& account, const std::string& password)
{
    std::optional<UserRecord> user;
    {
        Database::Transaction txn(m_db, false);
        user = m_accounts.userByAccount(account);
    }
    // Hash even for an unknown account, so timing does not tell which
    // accounts exist; and outside the database lock, as it is slow.
    const std::string salt = user ? user->passwordSalt : std::string("0000000000000000");
    const int iterations = user ? user->passwordIterations : PasswordIterations;
    const std::string hash = CryptoUtil::pbkdf2Hex(password, salt, iterations);
    if (!user || !CryptoUtil::constantTimeEquals(hash, user->passwordHash)) {
        return std::nullopt;
    }

    IssuedToken token;
    token.accessToken = "at-" + CryptoUtil::randomHex(16);
    token.refreshToken = "rt-" + CryptoUtil::randomHex(16);
    token.expiresIn = m_ttlSeconds;
    const std::int64_t now = nowMs();
    Database::Transaction txn(m_db, true);
    m_accounts.removeExpiredTokens(now);
    m_accounts.insertToken(tokenHash(token.accessToken), user->id, now + m_ttlSeconds * 1000);
    txn.commit();
    return token;
}

std::optional<std::string> AuthService::authenticate(const std::string& authorization)
{
    const auto token = bearerToken(authorization);
    if (!token) {
        return std::nullopt;
    }
    Database::Transaction txn(m_db, false);
    return m_accounts.userForToken(tokenHash(*token), nowMs());
}

std::optional<std::string> AuthService::bearerToken(const std::string& authorization)
{
    static const std::string scheme = "bearer ";
    if (authorization.size() <= scheme.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < scheme.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(authorization[i])) != scheme[i]) {
            return std::nullopt;
        }
    }
    const auto begin = authorization.find_first_not_of(' ', scheme.size());
    if (begin == std::string::npos) {
        return std::nullopt;
    }
    const std::string token = authorization.substr(begin, authorization.find_last_not_of(' ') + 1 - begin);
    if (token.find(' ') != std::string::npos) {
        return std::nullopt;
    }
    return token;
}

std::string AuthService::tokenHash(const std::string& token)
{
    return CryptoUtil::sha256Hex(token);
}
