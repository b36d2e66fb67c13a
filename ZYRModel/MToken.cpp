// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRModel/MToken.h>

#include "ModelJson_p.h"

namespace Trelan::Oku::ZYRModel {

MToken::MToken() = default;

const QString& MToken::getAccessToken() const
{
    return m_accessToken;
}

const QString& MToken::getRefreshToken() const
{
    return m_refreshToken;
}

const QString& MToken::getTokenType() const
{
    return m_tokenType;
}

qint64 MToken::getExpiresIn() const
{
    return m_expiresIn;
}

void MToken::setAccessToken(const QString& accessToken)
{
    m_accessToken = accessToken;
}

void MToken::setRefreshToken(const QString& refreshToken)
{
    m_refreshToken = refreshToken;
}

void MToken::setTokenType(const QString& tokenType)
{
    m_tokenType = tokenType;
}

void MToken::setExpiresIn(qint64 seconds)
{
    m_expiresIn = seconds;
}

void MToken::fromJson(const QJsonObject& object, MToken& token)
{
    token.m_accessToken = Json::string(object, "accessToken");
    token.m_refreshToken = Json::string(object, "refreshToken");
    token.m_tokenType = Json::string(object, "tokenType");
    token.m_expiresIn = Json::int64(object, "expiresIn");
}

QJsonObject MToken::toJson() const
{
    return QJsonObject{ { QStringLiteral("accessToken"), m_accessToken },
                        { QStringLiteral("refreshToken"), m_refreshToken },
                        { QStringLiteral("tokenType"), m_tokenType },
                        { QStringLiteral("expiresIn"), m_expiresIn } };
}

} // namespace Trelan::Oku::ZYRModel
