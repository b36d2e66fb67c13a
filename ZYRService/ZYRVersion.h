// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <ZYRService/zyrservice_export.h>

#include <QString>

namespace Trelan::Oku::ZYRInterface {
class INetworkReplyHandler;
}

namespace Trelan::Oku::ZYRService {

using Trelan::Oku::ZYRInterface::INetworkReplyHandler;

/// Version list and installer requests; no token is sent.
class ZYRSERVICE_EXPORT ZYRVersion {
public:
    ZYRVersion() = delete;

    /// Fetches the version list XML from \a listAddress (absolute, or a path
    /// on the configured server).
    static void QueryLatestVersion(const QString& listAddress, INetworkReplyHandler* handler);
    /// Downloads the installer at \a url (absolute, or a path on the
    /// configured server), following redirects. As for file downloads the
    /// handler must drain the reply on every slotReadyRead.
    static void DownloadFile(const QString& url, INetworkReplyHandler* handler);
};

} // namespace Trelan::Oku::ZYRService
