// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include "AccountStore.h"

#include "Database.h"

namespace {
const char* const UserColumns
        = "id, account, display_name, full_name, email, password_salt, password_hash, password_iterations, "
          "avatar IS NOT NULL, avatar_type";

UserRecord readUser(const SqlStatement& s)
{
    UserRecord user;
    user.id = s.columnText(0);
    user.account = s.columnText(1);
    user.displayName = s.columnText(2);
    user.fullName = s.columnText(3);
    user.email = s.columnText(4);
    user.passwordSalt = s.columnText(5);
    user.passwordHash = s.columnText(6);
    user.passwordIterations = static_cast<int>(s.columnInt(7));
    user.hasAvatar = s.columnBool(8);
    user.avatarType = s.columnText(9);
    return user;
}
} // namespace

AccountStore::AccountStore(Database& db) : m_db(db) { }

void AccountStore::insertUser(const UserRecord& user, const std::string& avatar)
{
    auto s = m_db.prepare(
            "INSERT INTO users(id, account, display_name, full_name, email, password_salt, password_hash, "
            "password_iterations, avatar, avatar_type) VALUES(?,?,?,?,?,?,?,?,?,?)");
    s.bindAll(user.id, user.account, user.displayName, user.fullName, user.email, user.passwordSalt, user.passwordHash,
              user.passwordIterations);
    if (user.hasAvatar) {
        s.bindBlob(9, avatar);
    } else {
        s.bindNull(9);
    }
    s.bind(10, user.avatarType);
    s.run();
}

std::optional<UserRecord> AccountStore::userById(const std::string& id)
{
    auto s = m_db.prepare(std::string("SELECT ") + UserColumns + " FROM users WHERE id = ?");
    s.bindAll(id);
    if (!s.step()) {
        return std::nullopt;
    }
    return readUser(s);
}

std::optional<UserRecord> AccountStore::userByAccount(const std::string& account)
{
    auto s = m_db.prepare(std::string("SELECT ") + UserColumns + " FROM users WHERE account = ?");
    s.bindAll(account);
    if (!s.step()) {
        return std::nullopt;
    }
    return readUser(s);
}

std::optional<std::pair<std::string, std::string>> AccountStore::avatar(const std::string& userId)
{
    auto s = m_db.prepare("SELECT avatar, avatar_type FROM users WHERE id = ? AND avatar IS NOT NULL");
    s.bindAll(userId);
    if (!s.step()) {
        return std::nullopt;
    }
    return std::make_pair(s.columnText(0), s.columnText(1));
}

void AccountStore::insertToken(const std::string& tokenHash, const std::string& userId, std::int64_t expiresAt)
{
    m_db.prepare("INSERT INTO tokens(token_hash, user_id, expires_at) VALUES(?,?,?)")
            .bindAll(tokenHash, userId, expiresAt)
            .run();
}

std::optional<std::string> AccountStore::userForToken(const std::string& tokenHash, std::int64_t now)
{
    auto s = m_db.prepare("SELECT user_id FROM tokens WHERE token_hash = ? AND expires_at > ?");
    s.bindAll(tokenHash, now);
    if (!s.step()) {
        return std::nullopt;
    }
    return s.columnText(0);
}

void AccountStore::removeExpiredTokens(std::int64_t now)
{
    m_db.prepare("DELETE FROM tokens WHERE expires_at <= ?").bindAll(now).run();
}
