// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRModel/zyrmodel_export.h>

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>

namespace Trelan::Oku::ZYRModel {

/// The signed-in user.
/// JSON: {"id": s, "account": s, "displayName": s, "fullName": s, "email": s,
///        "avatarPaths": [s, ...]}
class ZYRMODEL_EXPORT MUser {
public:
    MUser();

    const QString& getId() const;
    void setId(const QString& id);
    const QString& getAccount() const;
    void setAccount(const QString& account);
    const QString& getDisplayName() const;
    void setDisplayName(const QString& displayName);
    const QString& getFullName() const;
    void setFullName(const QString& fullName);
    const QString& getEmail() const;
    void setEmail(const QString& email);
    const QList<QString>& getAvatarPaths() const;
    void setAvatarPaths(const QList<QString>& paths);

    /// Avatar image bytes as downloaded (32 px avatar).
    const QByteArray& getAvatarData32() const;
    void setAvatarData32(const QByteArray& data);

    static void fromJson(const QJsonObject& object, MUser& user);
    QJsonObject toJson() const;

private:
    QString m_id;
    QString m_account;
    QString m_displayName;
    QString m_fullName;
    QString m_email;
    QList<QString> m_avatarPaths;
    QByteArray m_avatarData32;
};

} // namespace Trelan::Oku::ZYRModel
