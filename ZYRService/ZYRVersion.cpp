// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#include <ZYRService/ZYRVersion.h>

#include "ZYRNetworkAccess_p.h"
#include "ZYRRequest_p.h"
#include "ZYRServiceDefaults_p.h"

namespace Trelan::Oku::ZYRService {

using Verb = ZYRRequest::Verb;

void ZYRVersion::QueryLatestVersion(const QString& listAddress, INetworkReplyHandler* handler)
{
    // Version lists and installers live behind whatever the release site
    // uses (a CDN, a "latest" alias), so these two follow redirects; they
    // carry no token that a redirect could leak.
    ZYRNetworkAccess::send(ZYRRequest::forAddress(Verb::Get, listAddress).setFollowRedirects(true), handler);
}

void ZYRVersion::DownloadFile(const QString& url, INetworkReplyHandler* handler)
{
    ZYRNetworkAccess::send(ZYRRequest::forAddress(Verb::Get, url)
                                   .setFollowRedirects(true)
                                   .setRawHeader("Accept-Encoding", "identity")
                                   .setReadBufferSize(Defaults::DownloadReadBufferBytes),
                           handler);
}

} // namespace Trelan::Oku::ZYRService
