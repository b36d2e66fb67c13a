// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include "FaultInjector.h"

#include <nlohmann/json.hpp>

class ApiRequest;
class Router;
struct ServerContext;

// Test-only routes (registered with --enable-admin): faults on demand and
// the install reports received; renaming a workspace. Loopback callers only.
class AdminRoutes {
public:
    explicit AdminRoutes(ServerContext& context);
    void registerOn(Router& router);

    // The fault a POST /admin/faults body describes; 400 when malformed.
    static FaultInjector::Fault readFault(const nlohmann::json& body);

private:
    static void requireLoopback(ApiRequest& request);
    void addFault(ApiRequest& request);
    void clearFaults(ApiRequest& request);
    void listFaults(ApiRequest& request);
    void installInfos(ApiRequest& request);
    void renameWorkspace(ApiRequest& request);

    ServerContext& m_context;
};
