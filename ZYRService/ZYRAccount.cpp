// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRService/ZYRAccount.h>

#include "ZYRNetworkAccess_p.h"
#include "ZYRRequest_p.h"

#include <QJsonObject>

namespace Trelan::Oku::ZYRService {

using Verb = ZYRRequest::Verb;

namespace {

// The path and query of a server-relative or absolute address, always on
// the configured server (avatars are never fetched from elsewhere).
QByteArray serverPathOf(const QString& address)
{
    const QUrl url(address, QUrl::TolerantMode);
    QByteArray path = url.path(QUrl::FullyEncoded).toLatin1();
    if (!path.startsWith('/'))
        path.prepend('/');
    if (url.hasQuery())
        path += '?' + url.query(QUrl::FullyEncoded).toLatin1();
    return path;
}

} // namespace

void ZYRAccount::Login(const QString& account, const QString& password, INetworkReplyHandler* handler)
{
    ZYRRequest request(Verb::Post, "/api/v1/auth/login");
    request.setJsonBody(
            QJsonObject{ { QStringLiteral("account"), account }, { QStringLiteral("password"), password } });
    ZYRNetworkAccess::send(request, handler);
}

void ZYRAccount::GetUserInfo(const QString& token, INetworkReplyHandler* handler)
{
    ZYRNetworkAccess::send(ZYRRequest(Verb::Get, "/api/v1/users/me").setBearerToken(token), handler);
}

void ZYRAccount::GetUserAvatar(const QString& token, const QString& avatarPath, INetworkReplyHandler* handler)
{
    ZYRNetworkAccess::send(ZYRRequest(Verb::Get, serverPathOf(avatarPath)).setBearerToken(token), handler);
}

void ZYRAccount::GetLoginToken(const QString& token, INetworkReplyHandler* handler)
{
    ZYRNetworkAccess::send(ZYRRequest(Verb::Get, "/api/v1/auth/login-token").setBearerToken(token), handler);
}

} // namespace Trelan::Oku::ZYRService
