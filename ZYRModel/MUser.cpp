// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRModel/MUser.h>

#include "ModelJson_p.h"

namespace Trelan::Oku::ZYRModel {

MUser::MUser() = default;

const QString& MUser::getId() const
{
    return m_id;
}

const QString& MUser::getAccount() const
{
    return m_account;
}

const QString& MUser::getDisplayName() const
{
    return m_displayName;
}

const QString& MUser::getFullName() const
{
    return m_fullName;
}

const QString& MUser::getEmail() const
{
    return m_email;
}

const QList<QString>& MUser::getAvatarPaths() const
{
    return m_avatarPaths;
}

const QByteArray& MUser::getAvatarData32() const
{
    return m_avatarData32;
}

void MUser::setId(const QString& id)
{
    m_id = id;
}

void MUser::setAccount(const QString& account)
{
    m_account = account;
}

void MUser::setDisplayName(const QString& displayName)
{
    m_displayName = displayName;
}

void MUser::setFullName(const QString& fullName)
{
    m_fullName = fullName;
}

void MUser::setEmail(const QString& email)
{
    m_email = email;
}

void MUser::setAvatarPaths(const QList<QString>& paths)
{
    m_avatarPaths = paths;
}

void MUser::setAvatarData32(const QByteArray& data)
{
    m_avatarData32 = data;
}

void MUser::fromJson(const QJsonObject& object, MUser& user)
{
    user.m_id = Json::string(object, "id");
    user.m_account = Json::string(object, "account");
    user.m_displayName = Json::string(object, "displayName");
    user.m_fullName = Json::string(object, "fullName");
    user.m_email = Json::string(object, "email");
    user.m_avatarPaths = Json::stringList(object, "avatarPaths");
}

QJsonObject MUser::toJson() const
{
    return QJsonObject{ { QStringLiteral("id"), m_id },
                        { QStringLiteral("account"), m_account },
                        { QStringLiteral("displayName"), m_displayName },
                        { QStringLiteral("fullName"), m_fullName },
                        { QStringLiteral("email"), m_email },
                        { QStringLiteral("avatarPaths"), Json::toArray(m_avatarPaths) } };
}

} // namespace Trelan::Oku::ZYRModel
