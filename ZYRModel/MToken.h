// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRModel/zyrmodel_export.h>

#include <QJsonObject>
#include <QString>

namespace Trelan::Oku::ZYRModel {

/// The session token returned by sign-in.
/// JSON: {"accessToken": s, "refreshToken": s, "tokenType": s, "expiresIn": seconds}
class ZYRMODEL_EXPORT MToken {
public:
    MToken();

    const QString& getAccessToken() const;
    void setAccessToken(const QString& accessToken);
    const QString& getRefreshToken() const;
    void setRefreshToken(const QString& refreshToken);
    const QString& getTokenType() const;
    void setTokenType(const QString& tokenType);
    qint64 getExpiresIn() const;
    void setExpiresIn(qint64 seconds);

    /// Fills \a token from \a object; missing keys leave blank fields.
    static void fromJson(const QJsonObject& object, MToken& token);
    QJsonObject toJson() const;

private:
    QString m_accessToken;
    QString m_refreshToken;
    QString m_tokenType;
    qint64 m_expiresIn = 0;
};

} // namespace Trelan::Oku::ZYRModel
