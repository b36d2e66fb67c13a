// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRService/ZYRWorkspace.h>

#include "ZYRNetworkAccess_p.h"
#include "ZYRRequest_p.h"

namespace Trelan::Oku::ZYRService {

using Verb = ZYRRequest::Verb;

void ZYRWorkspace::GetAllWorkspaces(const QString& token, INetworkReplyHandler* handler)
{
    ZYRNetworkAccess::send(ZYRRequest(Verb::Get, "/api/v1/workspaces").setBearerToken(token).setLargeListing(true),
                           handler);
}

void ZYRWorkspace::GetWorkspaceQuota(const QString& token, const QString& workspaceId, INetworkReplyHandler* handler)
{
    const QByteArray path = "/api/v1/workspaces/" + ZYRRequest::encode(workspaceId) + "/quota";
    ZYRNetworkAccess::send(ZYRRequest(Verb::Get, path).setBearerToken(token), handler);
}

void ZYRWorkspace::GetWorkspaceLogo(const QString& token, const QString& workspaceId, const QString& logoUrl,
                                    INetworkReplyHandler* handler)
{
    // The logo address names our server with a scheme the views made up
    // ("https:" in front of "//host/…"); only its path and query count.
    const QUrl url(logoUrl, QUrl::TolerantMode);
    QByteArray path = url.path(QUrl::FullyEncoded).toLatin1();
    if (path.isEmpty() || path == "/") {
        path = "/api/v1/workspaces/" + ZYRRequest::encode(workspaceId) + "/logo";
    } else {
        if (!path.startsWith('/'))
            path.prepend('/');
        if (url.hasQuery())
            path += '?' + url.query(QUrl::FullyEncoded).toLatin1();
    }
    ZYRNetworkAccess::send(ZYRRequest(Verb::Get, path).setBearerToken(token), handler);
}

void ZYRWorkspace::PostInstallInfo(const QString& installInfoJson, INetworkReplyHandler* handler)
{
    ZYRRequest request(Verb::Post, "/api/v1/install-info");
    request.setBody(installInfoJson.toUtf8(), "application/json");
    ZYRNetworkAccess::send(request, handler);
}

} // namespace Trelan::Oku::ZYRService
