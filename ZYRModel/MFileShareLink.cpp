// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRModel/MFileShareLink.h>

#include "ModelJson_p.h"

namespace Trelan::Oku::ZYRModel {

MFileShareLink::MFileShareLink() = default;

const QString& MFileShareLink::getId() const
{
    return m_id;
}

const QString& MFileShareLink::getToken() const
{
    return m_token;
}

const QString& MFileShareLink::getWorkspaceId() const
{
    return m_workspaceId;
}

const QString& MFileShareLink::getUrl() const
{
    return m_url;
}

const QList<QString>& MFileShareLink::getFileIds() const
{
    return m_fileIds;
}

bool MFileShareLink::getEncrypt() const
{
    return m_encrypt;
}

const QString& MFileShareLink::getPassword() const
{
    return m_password;
}

qint64 MFileShareLink::getExpireTime() const
{
    return m_expireTime;
}

qint64 MFileShareLink::getCreateTime() const
{
    return m_createTime;
}

const QList<QString>& MFileShareLink::getPrivileges() const
{
    return m_privileges;
}

void MFileShareLink::setId(const QString& id)
{
    m_id = id;
}

void MFileShareLink::setToken(const QString& token)
{
    m_token = token;
}

void MFileShareLink::setWorkspaceId(const QString& workspaceId)
{
    m_workspaceId = workspaceId;
}

void MFileShareLink::setUrl(const QString& url)
{
    m_url = url;
}

void MFileShareLink::setFileIds(const QList<QString>& fileIds)
{
    m_fileIds = fileIds;
}

void MFileShareLink::setEncrypt(bool encrypt)
{
    m_encrypt = encrypt;
}

void MFileShareLink::setPassword(const QString& password)
{
    m_password = password;
}

void MFileShareLink::setExpireTime(qint64 msecsSinceEpoch)
{
    m_expireTime = msecsSinceEpoch;
}

void MFileShareLink::setCreateTime(qint64 msecsSinceEpoch)
{
    m_createTime = msecsSinceEpoch;
}

void MFileShareLink::setPrivileges(const QList<QString>& privileges)
{
    m_privileges = privileges;
}

bool MFileShareLink::hasPrivilege(const QString& privilege) const
{
    return m_privileges.contains(privilege);
}

void MFileShareLink::setPrivilege(const QString& privilege, bool granted)
{
    if (granted && !m_privileges.contains(privilege))
        m_privileges.append(privilege);
    else if (!granted)
        m_privileges.removeAll(privilege);
}

void MFileShareLink::fromJson(const QJsonObject& object, MFileShareLink& link)
{
    link.m_id = Json::string(object, "id");
    link.m_token = Json::string(object, "token");
    link.m_workspaceId = Json::string(object, "workspaceId");
    link.m_url = Json::string(object, "url");
    link.m_fileIds = Json::stringList(object, "fileIds");
    link.m_encrypt = Json::boolean(object, "encrypt");
    link.m_password = Json::string(object, "password");
    link.m_expireTime = Json::int64(object, "expireTime");
    link.m_createTime = Json::int64(object, "createTime");
    link.m_privileges = Json::stringList(object, "privileges");
}

void MFileShareLink::fromJson(const QJsonArray& array, QList<QSharedPointer<MFileShareLink>>& links)
{
    for (const QJsonValue& value : array) {
        if (!value.isObject())
            continue;
        auto link = QSharedPointer<MFileShareLink>::create();
        fromJson(value.toObject(), *link);
        links.append(link);
    }
}

QJsonObject MFileShareLink::toJson() const
{
    return QJsonObject{ { QStringLiteral("id"), m_id },
                        { QStringLiteral("token"), m_token },
                        { QStringLiteral("workspaceId"), m_workspaceId },
                        { QStringLiteral("url"), m_url },
                        { QStringLiteral("fileIds"), Json::toArray(m_fileIds) },
                        { QStringLiteral("encrypt"), m_encrypt },
                        { QStringLiteral("password"), m_password },
                        { QStringLiteral("expireTime"), m_expireTime },
                        { QStringLiteral("createTime"), m_createTime },
                        { QStringLiteral("privileges"), Json::toArray(m_privileges) } };
}

} // namespace Trelan::Oku::ZYRModel
