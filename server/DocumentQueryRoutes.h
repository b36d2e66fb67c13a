// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

class ApiRequest;
class Router;
struct ServerContext;

// Read-only document requests: children, attributes, metadata, paths,
// privileges, thumbnails and view codes.
class DocumentQueryRoutes {
public:
    explicit DocumentQueryRoutes(ServerContext& context);
    void registerOn(Router& router);

private:
    void children(ApiRequest& request);
    void attributes(ApiRequest& request);
    void meta(ApiRequest& request);
    void parents(ApiRequest& request);
    void pathById(ApiRequest& request);
    void privileges(ApiRequest& request);
    void thumbnail(ApiRequest& request);
    void viewCode(ApiRequest& request);

    ServerContext& m_context;
};
