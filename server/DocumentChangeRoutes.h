// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <nlohmann/json.hpp>

#include <map>
#include <string>

class ApiRequest;
class Router;
struct ServerContext;

// Requests that change the tree: create folder, delete, copy/move, rename,
// and setting attributes.
class DocumentChangeRoutes {
public:
    explicit DocumentChangeRoutes(ServerContext& context);
    void registerOn(Router& router);

    // The "attributes" member of an attribute body: string values under
    // non-empty keys; 400 otherwise.
    static std::map<std::string, std::string> readAttributes(const nlohmann::json& body);

private:
    void createFolder(ApiRequest& request);
    void remove(ApiRequest& request);
    void copy(ApiRequest& request);
    void rename(ApiRequest& request);
    void addAttributes(ApiRequest& request);

    ServerContext& m_context;
};
