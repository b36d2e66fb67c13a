// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

class ApiRequest;
class Router;
struct ServerContext;

// Requests that change the tree: create folder, delete, copy/move, rename,
// and setting attributes.
class DocumentChangeRoutes {
public:
    explicit DocumentChangeRoutes(ServerContext& context);
    void registerOn(Router& router);

private:
    void createFolder(ApiRequest& request);
    void remove(ApiRequest& request);
    void copy(ApiRequest& request);
    void rename(ApiRequest& request);
    void addAttributes(ApiRequest& request);

    ServerContext& m_context;
};
