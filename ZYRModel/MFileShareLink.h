// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRModel/zyrmodel_export.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QSharedPointer>
#include <QString>
#include <QWeakPointer>

namespace Trelan::Oku::ZYRModel {

/// A share link of one or more files of a workspace.
/// JSON: {"id": s, "token": s, "workspaceId": s, "url": s, "fileIds": [s],
///        "encrypt": b, "password": s, "expireTime": ms (0 = never),
///        "privileges": ["preview", "download"], "createTime": ms}
class ZYRMODEL_EXPORT MFileShareLink {
public:
    static constexpr const char* PrivilegePreview = "preview";
    static constexpr const char* PrivilegeDownload = "download";

    MFileShareLink();

    const QString& getId() const;
    void setId(const QString& id);
    const QString& getToken() const;
    void setToken(const QString& token);
    const QString& getWorkspaceId() const;
    void setWorkspaceId(const QString& workspaceId);
    const QString& getUrl() const;
    void setUrl(const QString& url);
    const QList<QString>& getFileIds() const;
    void setFileIds(const QList<QString>& fileIds);
    bool getEncrypt() const;
    void setEncrypt(bool encrypt);
    const QString& getPassword() const;
    void setPassword(const QString& password);
    /// Milliseconds since the epoch; 0 means the link never expires.
    qint64 getExpireTime() const;
    void setExpireTime(qint64 msecsSinceEpoch);
    qint64 getCreateTime() const;
    void setCreateTime(qint64 msecsSinceEpoch);
    const QList<QString>& getPrivileges() const;
    void setPrivileges(const QList<QString>& privileges);
    bool hasPrivilege(const QString& privilege) const;
    void setPrivilege(const QString& privilege, bool granted);

    static void fromJson(const QJsonObject& object, MFileShareLink& link);
    static void fromJson(const QJsonArray& array, QList<QSharedPointer<MFileShareLink>>& links);
    QJsonObject toJson() const;

private:
    QString m_id;
    QString m_token;
    QString m_workspaceId;
    QString m_url;
    QList<QString> m_fileIds;
    bool m_encrypt = false;
    QString m_password;
    qint64 m_expireTime = 0;
    qint64 m_createTime = 0;
    QList<QString> m_privileges;
};

} // namespace Trelan::Oku::ZYRModel
