// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

class ApiRequest;
class Router;
struct ServerContext;

// Sign-in, the signed-in user, avatars and one-time login tokens.
class AccountRoutes {
public:
    explicit AccountRoutes(ServerContext& context);
    void registerOn(Router& router);

private:
    void login(ApiRequest& request);
    void currentUser(ApiRequest& request);
    void avatar(ApiRequest& request);
    void loginToken(ApiRequest& request);

    ServerContext& m_context;
};
