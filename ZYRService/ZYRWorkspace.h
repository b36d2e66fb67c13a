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

/// Workspace requests; see ZYRAccount for the common contract.
class ZYRSERVICE_EXPORT ZYRWorkspace {
public:
    ZYRWorkspace() = delete;

    static void GetAllWorkspaces(const QString& token, INetworkReplyHandler* handler);
    static void GetWorkspaceQuota(const QString& token, const QString& workspaceId, INetworkReplyHandler* handler);
    /// \a logoUrl is the workspace's logo address as the views pass it.
    static void GetWorkspaceLogo(const QString& token, const QString& workspaceId, const QString& logoUrl,
                                 INetworkReplyHandler* handler);
    /// Reports the installation; \a handler may be null (the answer is then ignored).
    static void PostInstallInfo(const QString& installInfoJson, INetworkReplyHandler* handler);
};

} // namespace Trelan::Oku::ZYRService
