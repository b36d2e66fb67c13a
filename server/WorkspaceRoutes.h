// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

class ApiRequest;
class Router;
struct ServerContext;

// The caller's workspaces, quotas, logos, and the clients' install reports.
class WorkspaceRoutes {
public:
    explicit WorkspaceRoutes(ServerContext& context);
    void registerOn(Router& router);

private:
    void list(ApiRequest& request);
    void quota(ApiRequest& request);
    void logo(ApiRequest& request);
    void installInfo(ApiRequest& request);

    ServerContext& m_context;
};
