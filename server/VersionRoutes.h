// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <string>

class ApiRequest;
class Router;
struct ServerContext;

// The client version list and the installer downloads; no token needed.
class VersionRoutes {
public:
    explicit VersionRoutes(ServerContext& context);
    void registerOn(Router& router);

    static std::string xmlEscape(const std::string& text);

private:
    void versionList(ApiRequest& request);
    void latest(ApiRequest& request);
    void installer(ApiRequest& request);

    ServerContext& m_context;
};
