// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
#pragma once

#include <string>
#include <vector>

class ApiRequest;
class Router;
struct ServerContext;

// Favourites (per user and workspace) and share links (per workspace, each
// with its creator).
class ShareRoutes {
public:
    explicit ShareRoutes(ServerContext& context);
    void registerOn(Router& router);

    // "a,b,,c" -> {"a","b","c"}
    static std::vector<std::string> splitIds(const std::string& joined);

private:
    void addFavorites(ApiRequest& request);
    void removeFavorites(ApiRequest& request);
    void listFavorites(ApiRequest& request);
    void listLinks(ApiRequest& request);
    void createLink(ApiRequest& request);
    void updateLink(ApiRequest& request);
    void removeLinks(ApiRequest& request);

    ServerContext& m_context;
};
